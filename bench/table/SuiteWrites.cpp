// The suite's rows of writes.

#include <fcntl.h>
#include <unistd.h>

#include "bench/table/EngineSide.h"
#include "bench/table/Judge.h"
#include "bench/table/OpenFile.h"
#include "bench/table/PageCacheSide.h"
#include "bench/table/RingSide.h"
#include "bench/table/Stamp.h"
#include "bench/table/Suite.h"

namespace {

constexpr uint32_t kKib = 1 << 10;
constexpr uint32_t kMib = 1 << 20;
constexpr uint32_t kStagedAtOnce = 128 * kKib;
constexpr uint64_t kMostTraced = 128 * kMib;
constexpr double kLeastShare = 0.98;     // of the ring's throughput
constexpr double kMostCpu = 1.25;        // of the ring's processor time
constexpr double kLeastShareStaged = 2;  // of the page cache's throughput
constexpr double kMostCallsStaged = 1;   // system calls for kStagedAtOnce bytes
constexpr const char* kWritten = "written";

const std::string kRing = "ring";
const std::string kReserved = "ring, space reserved ahead";
const std::string kGrown = "ring, space and size set ahead";
const std::string kPageCache = "page cache, write(2)";

// Blocks of a file whose stamps are not where they belong. `shift`: where the first block begins.
uint64_t wrongBlocks(const Workload& work, uint64_t shift, uint32_t lastStamp) {
  Descriptor file = OpenFile::cached(work.files[0].path, O_RDONLY);
  uint64_t wrong = 0;
  auto check = [&](uint64_t offset) {
    unsigned char bytes[sizeof(uint64_t)];
    bool read = pread(file.get(), bytes, sizeof bytes, static_cast<off_t>(offset + shift)) ==
                static_cast<ssize_t>(sizeof bytes);
    wrong += !read || !Stamp::isAt(bytes, offset, work.files[0].number);
  };
  for (uint64_t offset = 0; offset < work.bytesPerFile; offset += work.block) {
    check(offset);
    if (lastStamp > 0) check(offset + lastStamp);
  }
  return wrong;
}

}  // namespace

void Suite::writes() {
  alignedWrites();
  writesFromOneThread();
  stagedWrites();
}

// Each round writes a new file, looks at it and takes it away.
std::function<Round()> Suite::checkedWrite(const Workload& work,
                                           Round (*write)(const Workload&)) const {
  const bool isStaged = work.block < kMib;
  return [this, work, write, isStaged] {
    Round round = write(work);
    round.wrong +=
        isStaged ? wrongBlocks(work, 1, 0) : wrongBlocks(work, 0, work.block - Stamp::kSector);
    scratch_.remove(kWritten);
    return round;
  };
}

void Suite::alignedWrites() {
  const char* name = "write, 1 MiB x 4, then drain, close and fsync";
  if (!wanted(name)) return;
  Workload work{{{scratch_.path(kWritten), 9}}, options_.writeMib * kMib, kMib, 4};
  auto ring = [](const Workload& todo) { return RingSide::write(todo, RingSide::eAsItComes); };
  auto reserved = [](const Workload& todo) { return RingSide::write(todo, RingSide::eReserved); };
  auto grown = [](const Workload& todo) { return RingSide::write(todo, RingSide::eGrown); };
  Contest contest(options_.rounds);
  contest.enterClose("engine", checkedWrite(work, &EngineSide::write))
      .enterClose(kRing, checkedWrite(work, ring))
      .enterClose(kReserved, checkedWrite(work, reserved))
      .enter(kGrown, checkedWrite(work, grown))
      .enter(kPageCache, checkedWrite(work, &PageCacheSide::write));
  Row& row = add(name, Row::eThroughput, contest);
  row.bars = {Judge::share(row, kRing, kLeastShare), Judge::share(row, kReserved, kLeastShare),
              Judge::cpuShare(row, kRing, kMostCpu), Judge::cpuShareTold(row, kReserved),
              Judge::shareTold(row, kGrown),         Judge::cpuShareTold(row, kGrown)};
  row.bars.push_back(Judge::counted("writes that did not go out from the caller's bytes", "%.0f",
                                    Probes::copiedWrites(one_, scratch_.path("spare")), 0));
}

void Suite::writesFromOneThread() {
  const char* name = "write, 1 MiB x 4 asked for by one thread";
  if (!wanted(name)) return;
  Workload work{{{scratch_.path(kWritten), 9}}, options_.writeMib * kMib, kMib, 4};
  auto ring = [](const Workload& todo) { return RingSide::write(todo, RingSide::eAsItComes); };
  Contest contest(options_.rounds);
  contest.enterClose("engine", checkedWrite(work, &EngineSide::writeFromOneThread))
      .enterClose(kRing, checkedWrite(work, ring));
  Row& row = add(name, Row::eThroughput, contest);
  row.bars = {Judge::shareTold(row, kRing), Judge::cpuShareTold(row, kRing)};
}

void Suite::stagedWrites() {
  const char* name = "write, 4 KiB off by one byte";
  if (!wanted(name)) return;
  Workload work{{{scratch_.path(kWritten), 10}}, options_.stagedMib * kMib, 4 * kKib, 1};
  auto engine = [](const Workload& todo) { return EngineSide::writeStaged(todo, [] {}); };
  auto gathered = [](const Workload& todo) { return RingSide::writeGathered(todo, kStagedAtOnce); };
  Contest contest(options_.rounds);
  contest.enterClose("engine", checkedWrite(work, engine))
      .enter("ring, gathered to 128 KiB", checkedWrite(work, gathered))
      .enterClose(kPageCache, checkedWrite(work, &PageCacheSide::writeBehindAByte));
  Row& row = add(name, Row::eThroughput, contest);
  row.bars = {Judge::share(row, kPageCache, kLeastShareStaged)};

  work.bytesPerFile = std::min<uint64_t>(work.bytesPerFile, kMostTraced);
  Probes::Calls calls = Probes::callsInStaged(work, scratch_.path("trace"));
  scratch_.remove(kWritten);
  const double pieces = static_cast<double>(work.bytesPerFile) / kStagedAtOnce;
  row.bars.push_back(Judge::counted("system calls for 128 KiB, all threads", "%.3f",
                                    calls.per(pieces), kMostCallsStaged));
  for (const auto& [call, count] : calls.each)
    row.bars.push_back(Judge::told("of them " + call, "%.3f", static_cast<double>(count) / pieces));
}
