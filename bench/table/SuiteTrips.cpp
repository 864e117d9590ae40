// The suite's rows of one request at a time, and of what is counted.

#include <algorithm>
#include <numeric>
#include <random>
#include <string>
#include <vector>

#include "bench/table/EngineSide.h"
#include "bench/table/Figures.h"
#include "bench/table/HandOver.h"
#include "bench/table/Judge.h"
#include "bench/table/PageCacheSide.h"
#include "bench/table/RingSide.h"
#include "bench/table/Suite.h"

namespace {

constexpr uint32_t kKib = 1 << 10;
constexpr uint32_t kMib = 1 << 20;
constexpr uint64_t kCachedBytes = 16 * kMib;
constexpr uint64_t kBurst = uint64_t{1} << 30;
constexpr double kMostAboveHandOver_us = 15;  // the median
constexpr double kMostOverHandOver = 2;       // the 99th of 100
constexpr size_t kOpenings = 500;
constexpr double kMostOverPlain = 2;  // the time of all
constexpr double kLeastHits = 1;      // millions a second
constexpr double kMostSettling_s = 5;

const std::string kHandOver = "hand-over, ring and hand-back";
const std::string kRing = "ring";
const std::string kPlain = "open, pread and close";

// Offsets of blocks of a file, each once, in an order that is the same in every run.
std::vector<uint64_t> scattered(uint64_t bytes, uint32_t block, size_t count) {
  std::vector<uint64_t> offsets(bytes / block);
  std::iota(offsets.begin(), offsets.end(), uint64_t{0});
  std::shuffle(offsets.begin(), offsets.end(), std::mt19937_64(1));
  offsets.resize(std::min(count, offsets.size()));
  for (uint64_t& offset : offsets) offset *= block;
  return offsets;
}

Bar none(const std::string& what, const Probes::Outcome& outcome) {
  return Judge::counted(what, "%.2f", outcome, 0);
}

}  // namespace

void Suite::trips() {
  tripsInCache();
  tripsToDisk();
  openings();
  cacheHits();
  counted();
  memory();
}

// Where the file lies decides how the engine reads it: a file system in memory has nothing but the
// page cache, and serves direct transfers from it.
void Suite::tripsInCache() {
  const char* name = "read, one 4 KiB and back, file in the page cache";
  if (!wanted(name)) return;
  if (Scratch::freeOrNone(options_.cachedFolder) < 2 * kCachedBytes) {
    std::string why = "no room in " + options_.cachedFolder + ": --cached-dir names another folder";
    addCounted(name).bars = {Judge::counted("p50 and p99", "", {std::nullopt, why}, 0)};
    return;
  }
  Scratch memory(options_.cachedFolder);
  Workload work{{memory.make("cached", kCachedBytes, 11)}, kCachedBytes, 4 * kKib, 1};
  std::vector<uint64_t> offsets = scattered(work.bytesPerFile, work.block, options_.trips);
  Contest contest(options_.rounds);
  contest.before([&] { PageCacheSide::readInLoop(work, PageCacheSide::eNoAdvice); })
      .enter("engine", [&] { return EngineSide::roundTrips(work, offsets); })
      .enter(kHandOver, [&] { return HandOver::roundTrips(work, offsets); });
  Row& row = add(name, Row::eLatency, contest);
  const Side& bare = row.side(kHandOver);
  row.bars = {
      Judge::atMost("p50 above the bare hand-over", "%+.1f us",
                    Figures::medianDifference(row.engine(), bare, &Figures::p50),
                    kMostAboveHandOver_us),
      Judge::atMost("p99 over the bare hand-over", "x %.2f",
                    Figures::medianRatio(row.engine(), bare, &Figures::p99), kMostOverHandOver)};
}

void Suite::tripsToDisk() {
  const char* name = "read, one 4 KiB and back, from the disk";
  if (!wanted(name)) return;
  Workload work{{one_}, options_.readMib * kMib, 4 * kKib, 1};
  std::vector<uint64_t> offsets = scattered(work.bytesPerFile, work.block, options_.trips);
  Contest contest(options_.rounds);
  contest.before([&] { caches_.drop(work.files); })
      .enter("engine", [&] { return EngineSide::roundTrips(work, offsets); })
      .enter(kRing, [&] { return RingSide::roundTrips(work, offsets); });
  Row& row = add(name, Row::eLatency, contest);
  row.bars = {Judge::told("p50 above the ring", "%+.1f us",
                          Figures::medianDifference(row.engine(), row.side(kRing), &Figures::p50)),
              Judge::told("p99 over the ring", "x %.2f",
                          Figures::medianRatio(row.engine(), row.side(kRing), &Figures::p99))};
}

// As whoever looks into many files does: each is closed by whom its one read has just come to.
void Suite::openings() {
  const char* name = "open, read 128 KiB and close, from the disk";
  if (!wanted(name)) return;
  Workload work{{one_}, options_.readMib * kMib, 128 * kKib, 1};
  std::vector<uint64_t> offsets = scattered(work.bytesPerFile, work.block, kOpenings);
  Contest contest(options_.rounds);
  contest.before([&] { caches_.drop(work.files); })
      .enter("engine", [&] { return EngineSide::openings(work, offsets); })
      .enter(kPlain, [&] { return PageCacheSide::openings(work, offsets); });
  Row& row = add(name, Row::eLatency, contest);
  row.bars = {Judge::told("p50 above the plain calls", "%+.1f us",
                          Figures::medianDifference(row.engine(), row.side(kPlain), &Figures::p50)),
              Judge::time(row, kPlain, kMostOverPlain)};
}

void Suite::cacheHits() {
  const char* name = "cache hit, overlapping 4 KiB of a kept 1 MiB";
  if (!wanted(name)) return;
  Workload work{{one_}, kMib, kMib, 1};
  uint64_t copied = 0;
  Contest contest(options_.rounds);
  contest.enter("engine", [&] {
    EngineSide::Hits hits = EngineSide::hits(work, 4 * kKib, options_.hits, [] {});
    copied += hits.copied;
    return hits.round;
  });
  Row& row = add(name, Row::eHits, contest);
  row.bars = {Judge::atLeast("hits a second, one thread", "%.2f M",
                             Figures::median(row.engine(), &Figures::millionHits), kLeastHits),
              Judge::atMost("hits outside the kept buffer", "%.0f", static_cast<double>(copied), 0),
              none("system calls a hit", Probes::callsInHits(one_, scratch_.path("trace"))),
              none("allocations a hit", Probes::allocationsInHits(one_))};
}

void Suite::counted() {
  const char* name = "allocations from one transfer to the next";
  if (!wanted(name)) return;
  std::string spare = scratch_.path("spare");
  Row& row = addCounted(name);
  row.bars = {none("read", Probes::allocationsPerRead(one_, spare)),
              none("write", Probes::allocationsPerWrite(one_, spare))};
}

void Suite::memory() {
  const char* name = "memory after a burst of reads";
  if (!wanted(name)) return;
  uint64_t burst = std::min(kBurst, options_.readMib * kMib);
  Probes::Memory memory = Probes::memory(one_, burst);
  Row& row = addCounted(name);
  Bar settled = Judge::counted("idle until back at the start + the limit", "%.2f s",
                               memory.settled_s, kMostSettling_s);
  row.bars = {Judge::told("read and held", "%.0f MiB", static_cast<double>(burst) / kMib),
              Judge::told("resident at the start", "%.0f MiB", memory.start_mib),
              Judge::told("resident at the most", "%.0f MiB", memory.most_mib),
              Judge::told("resident at the end", "%.0f MiB", memory.end_mib),
              Judge::told("the limit: memory kept for regions", "%.0f MiB", memory.limit_mib),
              settled};
}
