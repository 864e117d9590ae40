// The suite's rows of the registry of drives, and of what it costs the engine.

#include "bench/table/EngineSide.h"
#include "bench/table/Judge.h"
#include "bench/table/ManyDrives.h"
#include "bench/table/OtherMemory.h"
#include "bench/table/Suite.h"

namespace {

constexpr uint32_t kKib = 1 << 10;
constexpr uint32_t kMib = 1 << 20;
constexpr double kMostLookUp_us = 2;
constexpr double kMostOverNone = 1.1;
constexpr double kMostListing_ms = 50;
constexpr double kMostHungListing_ms = 2000;
constexpr const char* kDrives = "drives";

const std::string kNone = "engine, no drives";

}  // namespace

void Suite::storage() {
  lookUps();
  readsAmongDrives();
  passAmongDrives();
  toolListsDrives();
}

void Suite::lookUps() {
  const char* name = "look-ups in 200 drives";
  if (!wanted(name)) return;
  Row& row = addCounted(name);
  for (const Probes::LookUp& each : Probes::lookUps(scratch_.path(kDrives))) {
    const std::string by = "by " + each.key;
    row.bars.push_back(Judge::counted(by, "%.2f us", each.median_us, kMostLookUp_us));
    row.bars.push_back(
        Judge::counted(by + ", the slowest drive", "%.2f us", each.slowest_us, kMostLookUp_us));
    row.bars.push_back(Judge::counted(by + ", allocations", "%.2f", each.allocations, 0));
  }
}

// Short blocks: of all streams these ask the registry most often.
void Suite::readsAmongDrives() {
  const char* name = "read, 1 file, 64 KiB x 8, 200 drives";
  if (!wanted(name)) return;
  Workload work{{one_}, options_.readMib * kMib / 2, 64 * kKib, 8};
  Contest contest(options_.rounds);
  OtherMemory memory;
  contest.before([&] { caches_.drop(work.files); })
      .beforeTurn([&] { memory.next(); })
      .enterClose("engine, 200 drives",
                  [&] {
                    ManyDrives drives(scratch_.path(kDrives));
                    return EngineSide::read(work);
                  })
      .enterClose(kNone, [&] { return EngineSide::read(work); });
  Row& row = add(name, Row::eThroughput, contest);
  row.bars = {Judge::time(row, kNone, kMostOverNone), Judge::cpuShareTold(row, kNone)};
}

void Suite::passAmongDrives() {
  const char* name = "a pass over 1,000 idle open files, 200 drives";
  if (!wanted(name)) return;
  Row& row = addCounted(name);
  const Probes::PassAmongDrives pass = Probes::passAmongDrives(one_, scratch_.path(kDrives));
  row.bars = {Judge::told("no drives", "%.1f us", pass.none_us),
              Judge::told("200 drives", "%.1f us", pass.many_us),
              Judge::counted("time over no drives", "x %.3f", pass.ratio, kMostOverNone)};
}

void Suite::toolListsDrives() {
  const char* name = "fsys drives";
  if (!wanted(name)) return;
  const Probes::Listing listing = Probes::listing(scratch_.path("mounts"));
  addCounted(name).bars = {
      Judge::counted("50 more mounts", "%.1f ms", listing.listed_ms, kMostListing_ms),
      Judge::counted("and one that never answers", "%.1f ms", listing.hung_ms,
                     kMostHungListing_ms)};
}
