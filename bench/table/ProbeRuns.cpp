// The probes' own processes.

#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <memory>
#include <semaphore>
#include <stdexcept>
#include <vector>

#include "bench/table/CountingOs.h"
#include "bench/table/EngineFile.h"
#include "bench/table/EngineSide.h"
#include "bench/table/Probes.h"
#include "bench/table/Statistics.h"
#include "fsys/FsysPoll.h"
#include "fsys/MemBlock.h"
#include "fsys/MemRef.h"

struct FsysPeer {
  static FsysPoll* readPoll(const Fsys& engine) { return engine.readPoll_; }
};

namespace {

constexpr uint32_t kPiece = 4096;
constexpr uint32_t kBlock = 1 << 20;
constexpr unsigned kPasses = 200;
constexpr unsigned kWarmTransfers = 64;
constexpr unsigned kTransfers = 256;
constexpr uint32_t kTransferBytes = 65536;

void mark() { (void)getsid(-77); }

int runHits(const Workload::File& file) {
  EngineSide::Hits hits =
      EngineSide::hits({{file}, kBlock, kBlock, 1}, kPiece, Probes::kHits, &mark);
  return hits.round.wrong == 0 ? 0 : 1;
}

// Ends: counts what a thread asked the heap for between two callbacks.
struct Ends : iObject {
  static void ended(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>&, RequestStatus status) {
    static thread_local uint64_t atLastEnd = CountingOs::onThisThread();
    auto* ends = static_cast<Ends*>(context.get());
    ends->asked += CountingOs::onThisThread() - atLastEnd;
    if (status != eRequestSucceeded) ++ends->wrong;
    atLastEnd = CountingOs::onThisThread();
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
    Qv::Ptr<iMemHolder> block(new MemBlock(kTransferBytes));
    Qv::Ptr<iMemHolder> data(new MemRef(block, 0, kTransferBytes));
    forWrite = askedPerTransfer([&](uint64_t, Qv::Ptr<iObject>& context) {
      return target->DirectWrite(data, false, &Ends::ended, context, false);
    });
  }
  std::printf("a_read=%.3f a_write=%.3f\n", forRead, forWrite);
  return 0;
}

void allowManyFiles() {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
}

// Every file has been read once and keeps that read, as files do that wait for their next use.
int runIdle(const Workload::File& file) {
  using Clock = std::chrono::steady_clock;
  allowManyFiles();
  std::vector<std::unique_ptr<EngineFile>> files;
  Qv::Ptr<iObject> context(new Ends);
  auto* ends = static_cast<Ends*>(context.get());
  for (unsigned i = 0; i < Probes::kIdleFiles; ++i) {
    files.push_back(std::make_unique<EngineFile>(file.path, kPiece, 1));
    if ((*files.back())->DirectRead(0, kPiece, false, &Ends::ended, context) != 1) return 1;
    ends->come.acquire();
  }
  FsysPoll* poll = FsysPeer::readPoll(*theFsys);
  std::vector<double> passes_us;
  for (unsigned i = 0; i < kPasses; ++i) {
    auto start = Clock::now();
    poll->Polltasks();
    passes_us.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  std::printf("pass_us=%.2f\n", Statistics::median(passes_us));
  return ends->wrong == 0 ? 0 : 1;
}

}  // namespace

int Probes::run(const std::string& name, const Workload::File& file, const std::string& spare) {
  static CountingOs counting;
  if (name == "allocations") swapOS(&counting);
  if (FsysInitialize() != 1) return 2;
  int status = 2;
  if (name == "hits") status = runHits(file);
  if (name == "idle") status = runIdle(file);
  if (name == "allocations") status = runAllocations(file, spare);
  FsysUninitialize(Shutdown::eNormal);
  if (name == "allocations") swapOS(nullptr);
  return status;
}
