// The small parts, each by itself.

#include <benchmark/benchmark.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "bench/table/Arrival.h"
#include "bench/table/EngineFile.h"
#include "fsys/EngineSettings.h"
#include "fsys/FsysPoll.h"
#include "platform/OS.h"
#include "platform/QvLockFree.h"

struct FsysPeer {
  static FsysPoll* readPoll(const Fsys& engine) { return engine.readPoll_.get(); }
};

namespace {

constexpr uint32_t kKept = 1 << 20;
constexpr uint32_t kPiece = 4096;
constexpr int kHour_ms = 3600000;

// A file of kKept bytes in the current folder; it goes with the object.
class SmallFile {
public:
  SmallFile() {
    int file = mkstemp(path_.data());
    valid_ = file >= 0 && ftruncate(file, kKept) == 0;
    if (file >= 0) ::close(file);
  }
  ~SmallFile() { ::unlink(path_.c_str()); }
  bool isValid() const { return valid_; }
  const std::string& path() const { return path_; }

private:
  std::string path_ = "./fsys-micro-XXXXXX";
  bool valid_ = false;
};

// An engine whose pollers pass only when they are kicked.
class QuietEngine {
public:
  QuietEngine() {
    EngineSettings::ReadPollDelay = kHour_ms;
    running_ = FsysInitialize() == 1;
  }
  ~QuietEngine() { FsysUninitialize(Shutdown::eNormal); }
  bool isRunning() const { return running_; }

private:
  bool running_;
};

// Reads through the file until a read is answered from what is kept.
bool warm(EngineFile& file, uint32_t bytes, Qv::Ptr<iObject>& context) {
  auto* arrival = static_cast<Arrival*>(context.get());
  for (int tries = 0; tries < 1000 && file->GetCacheHits() == 0; ++tries) {
    if (file->DirectRead(0, bytes, false, &Arrival::come, context) != 1) return false;
    arrival->wait();
  }
  return file->GetCacheHits() > 0;
}

void CacheHit(benchmark::State& state) {
  SmallFile small;
  QuietEngine engine;
  if (!small.isValid() || !engine.isRunning()) return state.SkipWithError("no engine, or no file");
  EngineFile file(small.path(), kKept, 1);
  Qv::Ptr<iObject> context(new Arrival);
  if (!warm(file, kKept, context)) return state.SkipWithError("nothing is kept");
  long at = 0;
  for (auto _ : state) {
    file->DirectRead(at, kPiece, false, &Arrival::come, context);
    at = (at + kPiece) % kKept;
  }
}
BENCHMARK(CacheHit);

void PassOverIdleFiles(benchmark::State& state) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  SmallFile small;
  QuietEngine engine;
  if (!small.isValid() || !engine.isRunning()) return state.SkipWithError("no engine, or no file");
  Qv::Ptr<iObject> context(new Arrival);
  std::vector<std::unique_ptr<EngineFile>> files;
  for (int64_t i = 0; i < state.range(0); ++i) {
    files.push_back(std::make_unique<EngineFile>(small.path(), kPiece, 1));
    if (!warm(*files.back(), kPiece, context)) return state.SkipWithError("nothing is kept");
  }
  FsysPoll* poll = FsysPeer::readPoll(*theFsys);
  for (auto _ : state) poll->Polltasks();
}
BENCHMARK(PassOverIdleFiles)->Arg(1000)->Unit(benchmark::kMicrosecond);

void PoolTakeAndGive(benchmark::State& state) {
  static Qv::LockFree::Stack<96, 16> pool;
  for (auto _ : state) {
    void* slot = pool.take();
    benchmark::DoNotOptimize(slot);
    pool.give(slot);
  }
}
BENCHMARK(PoolTakeAndGive)->Threads(1)->Threads(2);

void HeapTakeAndGive(benchmark::State& state) {
  for (auto _ : state) {
    void* block = ::operator new(96);
    benchmark::DoNotOptimize(block);
    ::operator delete(block);
  }
}
BENCHMARK(HeapTakeAndGive)->Threads(1)->Threads(2);

void RegionAllocateAndFree(benchmark::State& state) {
  iVirtualMemory* memory = OS()->getVirtualMemory();
  auto bytes = static_cast<size_t>(state.range(0));
  for (auto _ : state) {
    void* region = memory->allocate(nullptr, bytes, eVmReserveAndCommit, eVmReadWrite);
    benchmark::DoNotOptimize(region);
    memory->free(region, 0, eVmDecommitAndRelease);
  }
}
BENCHMARK(RegionAllocateAndFree)->Arg(4096)->Arg(65536 + 512)->Arg((1 << 20) + 512);

// Eight regions of mixed sizes at once: they do not simply come back as they went.
void RegionsOfMixedSizes(benchmark::State& state) {
  iVirtualMemory* memory = OS()->getVirtualMemory();
  constexpr size_t kSizes[] = {4096, 66048, 1049088, 262656, 4194816, 4608, 131584, 524800};
  void* regions[std::size(kSizes)];
  for (auto _ : state) {
    for (size_t i = 0; i < std::size(kSizes); ++i)
      regions[i] = memory->allocate(nullptr, kSizes[i], eVmReserveAndCommit, eVmReadWrite);
    for (void* region : regions) memory->free(region, 0, eVmDecommitAndRelease);
  }
  state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(std::size(kSizes)));
}
BENCHMARK(RegionsOfMixedSizes);

void SignalOfASignalledEvent(benchmark::State& state) {
  Qv::Ptr<iThreadEvent> event = OS()->getThreads()->createEvent(0, 0, 0);
  event->signal();
  for (auto _ : state) event->signal();
}
BENCHMARK(SignalOfASignalledEvent);

// With a poller that sleeps and wakes as it does: what a caller pays.
void Kick(benchmark::State& state) {
  Vector<FsysFile*> files;
  CriticalSection lock;
  FsysPoll poll(&files, &lock, true, static_cast<unsigned>(kHour_ms), 0);
  for (auto _ : state) poll.Kick();
}
BENCHMARK(Kick);

}  // namespace

BENCHMARK_MAIN();
