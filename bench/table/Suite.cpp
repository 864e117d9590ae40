#include "bench/table/Suite.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <numeric>
#include <random>

#include "bench/table/Descriptor.h"
#include "bench/table/EngineSide.h"
#include "bench/table/Interrupted.h"
#include "bench/table/RingSide.h"
#include "bench/table/Stamp.h"
#include "bench/table/Statistics.h"

namespace {

constexpr uint32_t kKib = 1 << 10;
constexpr uint32_t kMib = 1 << 20;
constexpr unsigned kEight = 8;
constexpr double kLeastShare = 0.9;      // of the ring's throughput
constexpr double kMostCpuAbove_us = 40;  // a MB, above the ring's
constexpr double kMostPass_us = 100;     // over Probes::kIdleFiles files
constexpr uint32_t kStagedAtOnce = 128 * kKib;
constexpr const char* kWritten = "written";

template <typename Figure>
std::vector<double> figures(const std::vector<Round>& rounds, const Figure& figure) {
  std::vector<double> result;
  for (const Round& round : rounds) result.push_back(figure(round));
  return result;
}

template <typename Figure, typename Compare>
double medianOfPairs(const std::vector<Round>& engine, const std::vector<Round>& ring,
                     const Figure& figure, const Compare& compare) {
  std::vector<double> result;
  for (size_t i = 0; i < engine.size(); ++i)
    result.push_back(compare(figure(engine[i]), figure(ring[i])));
  return Statistics::median(result);
}

std::string text(const char* format, double value) {
  char buffer[64];
  std::snprintf(buffer, sizeof buffer, format, value);
  return buffer;
}

Line::Verdict verdict(bool met) { return met ? Line::eMet : Line::eMissed; }

// Blocks of a file whose stamps are not where they belong. `shift`: where the first block begins.
uint64_t wrongBlocks(const Workload& work, uint64_t shift, uint32_t lastStamp) {
  Descriptor file(open(work.files[0].path.c_str(), O_RDONLY | O_CLOEXEC));
  uint64_t wrong = 0;
  auto check = [&](uint64_t offset) {
    unsigned char bytes[sizeof(uint64_t)];
    bool read = pread(file.get(), bytes, sizeof bytes, static_cast<off_t>(offset + shift)) ==
                static_cast<ssize_t>(sizeof bytes);
    wrong += !read || !Stamp::isAt(bytes, offset, work.files[0].number);
  };
  for (uint64_t offset = 0; offset < work.bytesPerFile; offset += work.block) {
    check(offset);
    check(offset + lastStamp);
  }
  return wrong;
}

// Offsets of blocks of a file, each once, in an order that is the same in every run.
std::vector<uint64_t> scattered(uint64_t bytes, uint32_t block, size_t count) {
  std::vector<uint64_t> offsets(bytes / block);
  std::iota(offsets.begin(), offsets.end(), uint64_t{0});
  std::shuffle(offsets.begin(), offsets.end(), std::mt19937_64(1));
  offsets.resize(std::min(count, offsets.size()));
  for (uint64_t& offset : offsets) offset *= block;
  return offsets;
}

}  // namespace

Suite::Suite(const Options& options) : options_(options), scratch_(options.folder) {
  uint64_t bytes = options_.readMib * kMib;
  one_ = scratch_.make("one", bytes, 0);
  for (unsigned i = 0; i < kEight; ++i)
    eight_.push_back(scratch_.make(text("eight%.0f", i), bytes / kEight, i + 1));
}

bool Suite::isDirect() const { return RingSide::isDirect(one_.path); }

bool Suite::wanted(const std::string& what) const {
  return what.find(options_.only) != std::string::npos;
}

void Suite::run() {
  uint64_t bytes = options_.readMib * kMib;
  reading("read, 1 file, 1 MiB x 8", {{one_}, bytes, kMib, 8}, eThroughputAndCpu);
  reading("read, 8 files, 4 MiB x 2", {eight_, bytes / kEight, 4 * kMib, 2}, eThroughputAndCpu);
  reading("read, 1 file, 256 KiB x 8", {{one_}, bytes, 256 * kKib, 8}, eThroughputAndCpu);
  reading("read, 1 file, 64 KiB x 8", {{one_}, bytes / 2, 64 * kKib, 8}, eCpu);
  writing("write, 1 MiB x 4, close and fsync", &EngineSide::write, eThroughputAndCpu);
  writing("write, the same from one thread", &EngineSide::writeFromOneThread, eNone);
  staging();
  roundTrips();
  cacheHit();
  counted();
}

Suite::Pairs Suite::measure(const Side& engine, const Side& ring) {
  Pairs pairs;
  wrong_ += engine().wrong + ring().wrong;
  for (unsigned i = 0; i < options_.rounds; ++i) {
    Interrupted::check();
    pairs.engine.push_back(engine());
    pairs.ring.push_back(ring());
    wrong_ += pairs.engine.back().wrong + pairs.ring.back().wrong;
  }
  return pairs;
}

void Suite::compare(const std::string& what, const Pairs& pairs, eBars bars) {
  auto throughput = [](const Round& round) { return round.mbPerSecond(); };
  auto cpu = [](const Round& round) { return round.cpuPerMb_us(); };
  Line line;
  line.what = what;
  line.unit = "MB/s";
  line.hasRing = true;
  line.engine = Statistics::median(figures(pairs.engine, throughput));
  line.ring = Statistics::median(figures(pairs.ring, throughput));
  line.comparedValue = medianOfPairs(pairs.engine, pairs.ring, throughput,
                                     [](double ours, double theirs) { return ours / theirs; });
  line.compared = text("x %.2f", line.comparedValue);
  if (bars == eThroughputAndCpu) {
    line.bar = text(">= x %.2f", kLeastShare);
    line.verdict = verdict(line.comparedValue >= kLeastShare);
  }
  lines_.push_back(line);

  line.what = "  processor time";
  line.unit = "us/MB";
  line.decimals = 1;
  line.engine = Statistics::median(figures(pairs.engine, cpu));
  line.ring = Statistics::median(figures(pairs.ring, cpu));
  line.comparedValue = medianOfPairs(pairs.engine, pairs.ring, cpu,
                                     [](double ours, double theirs) { return ours - theirs; });
  line.compared = text("%+.1f us/MB", line.comparedValue);
  line.bar.clear();
  line.verdict = Line::eNoBar;
  if (bars != eNone) {
    line.bar = text("<= %+.0f us/MB", kMostCpuAbove_us);
    line.verdict = verdict(line.comparedValue <= kMostCpuAbove_us);
  }
  lines_.push_back(line);
}

void Suite::reading(const std::string& what, const Workload& work, eBars bars) {
  if (!wanted(what)) return;
  compare(what,
          measure([&] { return EngineSide::read(work); }, [&] { return RingSide::read(work); }),
          bars);
}

// Each round writes a new file, looks at it and takes it away.
void Suite::writing(const char* what, Round (*engine)(const Workload&), eBars bars) {
  if (!wanted(what)) return;
  Workload work{{{scratch_.path(kWritten), 9}}, options_.writeMib * kMib, kMib, 4};
  auto checked = [&](Round round) {
    round.wrong += wrongBlocks(work, 0, work.block - Stamp::kSector);
    scratch_.remove(kWritten);
    return round;
  };
  compare(what,
          measure([&] { return checked(engine(work)); },
                  [&] { return checked(RingSide::write(work)); }),
          bars);
}

void Suite::staging() {
  const char* what = "write, 4 KiB off by one byte, staged";
  if (!wanted(what)) return;
  Workload work{{{scratch_.path(kWritten), 10}}, options_.stagedMib * kMib, 4 * kKib, 1};
  auto checked = [&](Round round) {
    round.wrong += wrongBlocks(work, 1, 0);
    scratch_.remove(kWritten);
    return round;
  };
  compare(what,
          measure([&] { return checked(EngineSide::writeStaged(work)); },
                  [&] { return checked(RingSide::writeGathered(work, kStagedAtOnce)); }),
          eNone);
}

void Suite::roundTrips() {
  const char* what = "read, one 4 KiB and back";
  if (!wanted(what)) return;
  Workload work{{one_}, options_.readMib * kMib, 4 * kKib, 1};
  std::vector<uint64_t> offsets = scattered(work.bytesPerFile, work.block, options_.trips);
  Pairs pairs = measure([&] { return EngineSide::roundTrips(work, offsets); },
                        [&] { return RingSide::roundTrips(work, offsets); });
  for (double share : {0.5, 0.99}) {
    auto latency = [&](const Round& round) {
      return Statistics::quantile(round.latencies_us, share);
    };
    Line line;
    line.what = share == 0.5 ? std::string(what) + ", p50" : "  p99";
    line.unit = "us";
    line.decimals = 1;
    line.hasRing = true;
    line.engine = Statistics::median(figures(pairs.engine, latency));
    line.ring = Statistics::median(figures(pairs.ring, latency));
    line.comparedValue = medianOfPairs(pairs.engine, pairs.ring, latency,
                                       [](double ours, double theirs) { return ours - theirs; });
    line.compared = text("%+.1f us", line.comparedValue);
    lines_.push_back(line);
  }
}

void Suite::cacheHit() {
  const char* what = "cache hit, 4 KiB of a kept 1 MiB";
  if (!wanted(what)) return;
  Workload work{{one_}, kMib, kMib, 1};
  std::vector<double> means_us;
  uint64_t copied = 0;
  for (unsigned i = 0; i <= options_.rounds; ++i) {
    Interrupted::check();
    EngineSide::Hits hits = EngineSide::hits(work, 4 * kKib, options_.hits, [] {});
    wrong_ += hits.round.wrong;
    copied += hits.copied;
    if (i > 0 && !hits.round.latencies_us.empty()) means_us.push_back(hits.round.latencies_us[0]);
  }
  Line line;
  line.what = what;
  line.unit = "us";
  line.decimals = 3;
  line.engine = Statistics::median(means_us);
  lines_.push_back(line);

  Line copies;
  copies.what = "  bytes outside the kept buffer";
  copies.unit = "hits";
  copies.engine = static_cast<double>(copied);
  copies.comparedValue = copies.engine;
  copies.compared = text("%.0f", copies.engine);
  copies.bar = text("%.0f", 0);
  copies.verdict = verdict(copied == 0);
  lines_.push_back(copies);

  Line calls;
  calls.what = text("  system calls in %.0f hits", Probes::kHits);
  calls.unit = "calls";
  addCounted(calls, 0, [&] { return Probes::callsInHits(one_, scratch_.path("trace")); });
}

void Suite::counted() {
  Line pass;
  pass.what = "pass over 1,000 idle open files";
  pass.unit = "us";
  pass.decimals = 1;
  if (wanted(pass.what)) addCounted(pass, kMostPass_us, [&] { return Probes::idlePass_us(one_); });

  Line reads;
  reads.what = "allocations to finish a transfer, read";
  reads.decimals = 2;
  Line writes = reads;
  writes.what = "allocations to finish a transfer, write";
  std::string spare = scratch_.path("spare");
  if (wanted(reads.what))
    addCounted(reads, 0, [&] { return Probes::allocationsPerRead(one_, spare); });
  if (wanted(writes.what))
    addCounted(writes, 0, [&] { return Probes::allocationsPerWrite(one_, spare); });
}

void Suite::addCounted(Line line, double limit, const std::function<Probes::Outcome()>& ask) {
  Interrupted::check();
  Probes::Outcome outcome = ask();
  line.bar = text(limit > 0 ? "<= %.0f us" : "%.0f", limit);
  if (outcome.value) {
    line.engine = line.comparedValue = *outcome.value;
    line.compared = text(line.decimals ? "%.2f" : "%.0f", line.comparedValue);
    line.verdict = verdict(line.comparedValue <= limit);
  } else {
    line.verdict = Line::eSkipped;
    line.note = outcome.why;
  }
  lines_.push_back(line);
}
