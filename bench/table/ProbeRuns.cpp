// The probes' own processes.

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <semaphore>
#include <stdexcept>
#include <vector>

#include "bench/table/CatalogueProbe.h"
#include "bench/table/CountingOs.h"
#include "bench/table/EngineFile.h"
#include "bench/table/EngineSide.h"
#include "bench/table/Holder.h"
#include "bench/table/IdleFiles.h"
#include "bench/table/LookUps.h"
#include "bench/table/ManyDrives.h"
#include "bench/table/MemoryProbe.h"
#include "bench/table/Options.h"
#include "bench/table/Probes.h"
#include "bench/table/RingEntries.h"
#include "bench/table/Statistics.h"
#include "bench/table/ToolProbe.h"
#include "bench/table/Trace.h"
#include "fsys/FsysPoll.h"

struct FsysPeer {
  static FsysPoll* readPoll(const Fsys& engine) { return engine.readPoll_.get(); }
};

namespace {

constexpr uint32_t kPiece = 4096;
constexpr uint32_t kBlock = 1 << 20;
constexpr unsigned kPasses = 200;
constexpr unsigned kTurns = 10;
constexpr unsigned kWarmTransfers = 64;
constexpr unsigned kTransfers = 256;
constexpr uint32_t kTransferBytes = 65536;
constexpr unsigned kAddressedWrites = 32;

EngineSide::Hits hit(const Workload::File& file, void (*around)()) {
  return EngineSide::hits({{file}, kBlock, kBlock, 1}, kPiece, Probes::kHits, around);
}

int runHits(const Workload::File& file) { return hit(file, &Trace::mark).round.wrong == 0 ? 0 : 1; }

int runHitAllocations(const Workload::File& file) {
  static std::vector<uint64_t> counts;
  counts.reserve(2);
  auto round = hit(file, [] { counts.push_back(CountingOs::onThisThread()); }).round;
  if (round.wrong > 0 || counts.size() != 2) return 1;
  std::printf("a_hit=%.4f\n", static_cast<double>(counts[1] - counts[0]) / Probes::kHits);
  return 0;
}

int runStaged(const Workload::File& file, uint64_t bytes) {
  return EngineSide::writeStaged({{file}, bytes, kPiece, 1}, &Trace::mark).wrong == 0 ? 0 : 1;
}

// Ends: counts what a thread asked the heap for between two callbacks: it ends a transfer, and may
// start the next one.
struct Ends : iObject {
  static void ended(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>&, RequestStatus status) {
    static thread_local uint64_t atLastEnd = CountingOs::heapOnThisThread();
    auto* ends = static_cast<Ends*>(context.get());
    ends->asked += CountingOs::heapOnThisThread() - atLastEnd;
    if (status != eRequestSucceeded) ++ends->wrong;
    atLastEnd = CountingOs::heapOnThisThread();
    ends->come.release();
  }
  std::binary_semaphore come{0};
  std::atomic<uint64_t> asked{0};
  std::atomic<uint64_t> wrong{0};
};

// What the end of one transfer asks for; `start` starts the transfer at an offset.
template <typename Start>
double askedPerTransfer(const Start& start) {
  Qv::Ptr<iObject> context(new Ends);
  auto* ends = static_cast<Ends*>(context.get());
  for (unsigned i = 0; i < kWarmTransfers + kTransfers; ++i) {
    if (start(uint64_t{i} * kTransferBytes, context) != 1)
      throw std::runtime_error("a transfer was refused");
    ends->come.acquire();
    if (i + 1 == kWarmTransfers) ends->asked = 0;
  }
  if (ends->wrong > 0) throw std::runtime_error("a transfer failed");
  return static_cast<double>(ends->asked) / kTransfers;
}

int runAllocations(const Workload::File& file, const std::string& spare) {
  double forRead, forWrite;
  {
    EngineFile source(file.path, kTransferBytes, 1);
    forRead = askedPerTransfer([&](uint64_t offset, Qv::Ptr<iObject>& context) {
      return source->DirectRead(static_cast<long>(offset), kTransferBytes, false, &Ends::ended,
                                context);
    });
  }
  {
    EngineFile target(spare, kTransferBytes, 2);
    Qv::Ptr<iMemHolder> data = makeHolder(kTransferBytes);
    forWrite = askedPerTransfer([&](uint64_t, Qv::Ptr<iObject>& context) {
      return target->DirectWrite(data, false, &Ends::ended, context, false);
    });
  }
  std::printf("a_read=%.3f a_write=%.3f\n", forRead, forWrite);
  return 0;
}

// The entries by which the kernel was asked to write, looked at afterwards: the caller's addresses
// stand in them, or others.
int runAddresses(const std::string& spare) {
  std::vector<Qv::Ptr<iMemHolder>> data;
  for (unsigned i = 0; i < kAddressedWrites; ++i) data.push_back(makeHolder(kBlock));
  EngineFile target(spare, kBlock, 2);
  Qv::Ptr<iObject> context(new Ends);
  auto* ends = static_cast<Ends*>(context.get());
  for (Qv::Ptr<iMemHolder>& holder : data) {
    if (target->DirectWrite(holder, false, &Ends::ended, context, false) != 1) return 1;
    ends->come.acquire();
  }
  std::vector<uint64_t> addresses = RingEntries::writtenFrom();
  auto isCallers = [&](uint64_t address) {
    return std::any_of(data.begin(), data.end(), [&](const Qv::Ptr<iMemHolder>& holder) {
      return address == reinterpret_cast<uintptr_t>(holder->getBuffer());
    });
  };
  auto callers = std::count_if(addresses.begin(), addresses.end(), isCallers);
  if (ends->wrong > 0) return 1;
  if (addresses.empty()) {
    std::printf("the engine writes by no ring\n");
    return 0;
  }
  std::printf("elsewhere=%td\n",
              std::max<ptrdiff_t>(kAddressedWrites - callers, std::ssize(addresses) - callers));
  return 0;
}

double medianPass_us(unsigned passes) {
  using Clock = std::chrono::steady_clock;
  FsysPoll* poll = FsysPeer::readPoll(*theFsys);
  std::vector<double> passes_us;
  for (unsigned i = 0; i < passes; ++i) {
    auto start = Clock::now();
    poll->Polltasks();
    passes_us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  return Statistics::median(passes_us);
}

int runIdle(const Workload::File& file) {
  IdleFiles files(file.path, Probes::kIdleFiles);
  std::printf("pass_us=%.2f\n", medianPass_us(kPasses));
  return files.wrong() == 0 ? 0 : 1;
}

// The same files, with and without drives in turn.
int runIdleAmongDrives(const Workload::File& file, const std::string& folder) {
  IdleFiles files(file.path, Probes::kIdleFiles);
  std::vector<double> none_us, many_us, ratios;
  for (unsigned turn = 0; turn < kTurns; ++turn) {
    none_us.push_back(medianPass_us(kPasses / kTurns));
    ManyDrives drives(folder);
    many_us.push_back(medianPass_us(kPasses / kTurns));
    ratios.push_back(many_us.back() / none_us.back());
  }
  std::printf("none_us=%.2f many_us=%.2f ratio=%.4f\n", Statistics::median(none_us),
              Statistics::median(many_us), Statistics::median(ratios));
  return files.wrong() == 0 ? 0 : 1;
}

int runNamed(const Options& options) {
  const Workload::File file = {options.probeFile, options.probeNumber};
  const std::string& name = options.probe;
  if (name == "hits") return runHits(file);
  if (name == "hit-allocations") return runHitAllocations(file);
  if (name == "idle") return runIdle(file);
  if (name == "idle-drives") return runIdleAmongDrives(file, options.probeSpare);
  if (name == "allocations") return runAllocations(file, options.probeSpare);
  if (name == "staged") return runStaged(file, options.probeBytes);
  if (name == "addresses") return runAddresses(options.probeSpare);
  if (name == "memory") return MemoryProbe::run(file, options.probeBytes);
  if (name == "look-ups") return LookUps::printTimes(options.probeSpare);
  if (name == "look-up-allocations") return LookUps::printAllocations(options.probeSpare);
  if (name == "catalogue-scan") return CatalogueProbe::scan(file.path, file.number);
  if (name == "catalogue-find") return CatalogueProbe::find(file.path, file.number);
  if (name == "catalogue-memory") return CatalogueProbe::memory(file.path, file.number);
  if (name == "catalogue-slow")
    return CatalogueProbe::amongSlow(file.path, file.number, options.probeSpare);
  if (name == "drives") return ToolProbe::run(file.path, options.probeSpare);
  return 2;
}

}  // namespace

int Probes::run(const Options& options) {
  static CountingOs counting;
  const bool counts = options.probe.find("allocations") != std::string::npos;
  if (counts) swapOS(&counting);
  if (FsysInitialize() != 1) return 2;
  int status = runNamed(options);
  FsysUninitialize(Shutdown::eNormal);
  if (counts) swapOS(nullptr);
  return status;
}
