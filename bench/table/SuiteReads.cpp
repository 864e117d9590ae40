// The suite's rows of reads.

#include <algorithm>
#include <array>

#include "bench/table/EngineSide.h"
#include "bench/table/Figures.h"
#include "bench/table/IdleFiles.h"
#include "bench/table/Judge.h"
#include "bench/table/OtherMemory.h"
#include "bench/table/PageCacheSide.h"
#include "bench/table/RingSide.h"
#include "bench/table/Suite.h"

namespace {

constexpr uint32_t kKib = 1 << 10;
constexpr uint32_t kMib = 1 << 20;
constexpr std::array<unsigned, 4> kManyFiles = {1, 10, 100, 1000};
constexpr unsigned kWindow = 128;          // reads under way that may be merged: 8 MiB of 64 KiB
constexpr double kLeastShare = 0.98;       // of the ring's throughput
constexpr double kLeastShareMiddle = 0.9;  // the same, blocks of 256 KiB
constexpr double kLeastShareSmall = 0.95;  // the same, blocks of 64 KiB
constexpr double kMostCpuSmall = 1.6;      // of the ring's processor time, blocks of 64 KiB
constexpr double kMostCpuOne_us = 20;      // a MB, one file
constexpr double kMostCpuEight_us = 15;    // a MB, eight files
constexpr double kLeastStream = 0.9;       // of the mean of the streams
constexpr double kMostUneven = 1.3;        // the best of many files over the worst
constexpr double kMostPass_us = 50;        // over Probes::kIdleFiles files
// The engine's blocks are a sector longer than their reads, so the next one begins a page further
// on, which shows in the throughput of short reads.
constexpr uint32_t kShort = 256 * kKib;
constexpr uint32_t kApart = 4 * kKib;

const std::string kRing = "ring";
const std::string kRingApart = "ring, blocks a page apart";
const std::string kLoop = "page cache, loop of pread";
const std::string kSequentialLoop = "page cache, loop, advised sequential";
const std::string kPool = "page cache, threads of pread";
const std::string kLibuv = "page cache, libuv";

}  // namespace

void Suite::reads() {
  oneFile();
  eightFiles();
  middleBlocks();
  smallBlocks();
  smallBlocksMerged();
  manyFiles();
}

// A side that goes through the page cache finds it as a side leaves it that has just done so:
// measured, the first one after the others took two to four times as long as the next.
std::function<Round()> Suite::warmed(const Workload& work, Round (*read)(const Workload&)) {
  return [this, work, read] {
    PageCacheSide::readInPool(work);
    caches_.drop(work.files);
    return read(work);
  };
}

// The engine, the ring, and what would be used instead of the engine.
Row& Suite::reading(const std::string& name, const Workload& work) {
  Contest contest(options_.rounds);
  OtherMemory memory;
  contest.before([&] { caches_.drop(work.files); })
      .beforeTurn([&] { memory.next(); })
      .enterClose("engine", [&] { return EngineSide::read(work); })
      .enterClose(kRing, [&] { return RingSide::read(work); })
      .enter(kLoop, warmed(work,
                           [](const Workload& todo) {
                             return PageCacheSide::readInLoop(todo, PageCacheSide::eNoAdvice);
                           }))
      .enter(kPool, warmed(work, &PageCacheSide::readInPool))
      .enter(kLibuv, warmed(work, &PageCacheSide::readByLibuv));
  if (work.block <= kShort)
    contest.enterClose(kRingApart, [&] { return RingSide::readApart(work, kApart); });
  return add(name, Row::eThroughput, contest);
}

void Suite::oneFile() {
  const char* name = "read, 1 file, 1 MiB x 8";
  if (!wanted(name)) return;
  Row& row = reading(name, {{one_}, options_.readMib * kMib, kMib, 8});
  row.bars = {Judge::share(row, kRing, kLeastShare), Judge::aheadOf(row, {kLoop, kPool, kLibuv}),
              Judge::cpu(row, kMostCpuOne_us)};
}

void Suite::eightFiles() {
  const char* name = "read, 8 files, 4 MiB x 2";
  if (!wanted(name)) return;
  Row& row = reading(name, {eight_, options_.readMib * kMib / eight_.size(), 4 * kMib, 2});
  row.bars = {Judge::share(row, kRing, kLeastShare), Judge::aheadOf(row, {kLoop, kPool, kLibuv}),
              Judge::cpu(row, kMostCpuEight_us), Judge::worstStream(row, kLeastStream)};
}

void Suite::middleBlocks() {
  const char* name = "read, 1 file, 256 KiB x 8";
  if (!wanted(name)) return;
  Row& row = reading(name, {{one_}, options_.readMib * kMib, 256 * kKib, 8});
  row.bars = {Judge::share(row, kRing, kLeastShareMiddle), Judge::cpuShareTold(row, kRing),
              Judge::shareTold(row, kRingApart)};
}

void Suite::smallBlocks() {
  const char* name = "read, 1 file, 64 KiB x 8";
  if (!wanted(name)) return;
  Row& row = reading(name, {{one_}, options_.readMib * kMib / 2, 64 * kKib, 8});
  row.bars = {Judge::share(row, kRing, kLeastShareSmall),
              Judge::cpuShare(row, kRing, kMostCpuSmall), Judge::shareTold(row, kRingApart)};
}

void Suite::smallBlocksMerged() {
  const char* name = "read, 1 file, 64 KiB, merged to 1 MiB";
  if (!wanted(name)) return;
  Workload work{{one_}, options_.readMib * kMib, 64 * kKib, kWindow, kMib};
  Contest contest(options_.rounds);
  contest.before([&] { caches_.drop(work.files); })
      .enter("engine", [&] { return EngineSide::readMerged(work); })
      .enter(kLoop, warmed(work,
                           [](const Workload& todo) {
                             return PageCacheSide::readInLoop(todo, PageCacheSide::eNoAdvice);
                           }))
      .enter(kSequentialLoop, warmed(work, [](const Workload& todo) {
               return PageCacheSide::readInLoop(todo, PageCacheSide::eSequential);
             }));
  Row& row = add(name, Row::eThroughput, contest);
  row.bars = {Judge::aheadOf(row, {kLoop, kSequentialLoop})};
}

void Suite::manyFiles() {
  const std::string name = "read, 1 file of many, 64 KiB x 8";
  if (!wanted(name)) return;
  if (!IdleFiles::mayOpen(kManyFiles.back())) {
    addCounted(name).bars = {
        Judge::counted("best over worst", "", {std::nullopt, "RLIMIT_NOFILE is too low"}, 0)};
    return;
  }
  Workload work{{one_}, options_.readMib * kMib / 4, 64 * kKib, 8};
  Contest contest(options_.rounds);
  contest.before([&] { caches_.drop(work.files); });
  for (unsigned open : kManyFiles)
    contest.enter("engine, open files: " + std::to_string(open),
                  [&, open] { return EngineSide::readAmongIdle(work, open - 1); });
  Row& row = add(name, Row::eThroughput, contest);
  std::vector<double> medians;
  for (const Side& side : row.sides) medians.push_back(Figures::median(side, &Figures::throughput));
  auto [worst, best] = std::minmax_element(medians.begin(), medians.end());
  row.bars = {
      Judge::atMost("best over worst", "x %.2f", *worst > 0 ? *best / *worst : 0, kMostUneven)};
  row.bars.push_back(Judge::counted("a pass over 1,000 idle open files", "%.1f us",
                                    Probes::idlePass_us(one_), kMostPass_us));
}
