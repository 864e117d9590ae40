#include "bench/table/MemoryProbe.h"

#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <fstream>
#include <vector>

#include "bench/table/Arrival.h"
#include "bench/table/EngineFile.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr uint32_t kBlock = 1 << 20;
constexpr double kMib = 1 << 20;
constexpr double kLongest_s = 10;
constexpr unsigned kStep_ms = 20;

double residentBytes() {
  double pages = 0, resident = 0;
  std::ifstream("/proc/self/statm") >> pages >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

// The most memory while all of it was held; 0 when a read went wrong.
double burst(const Workload::File& source, uint64_t bytes) {
  std::vector<Qv::Ptr<iMemHolder>> held;
  EngineFile file(source.path, kBlock, 1);
  Qv::Ptr<iObject> context(new Arrival);
  auto* arrival = static_cast<Arrival*>(context.get());
  for (uint64_t offset = 0; offset < bytes; offset += kBlock) {
    if (file->DirectRead(static_cast<long>(offset), kBlock, false, &Arrival::come, context) != 1)
      return 0;
    arrival->wait();
    if (!arrival->data) return 0;
    held.push_back(arrival->data);
    arrival->data.reset();
  }
  return arrival->failed > 0 ? 0 : residentBytes();
}

}  // namespace

int MemoryProbe::run(const Workload::File& file, uint64_t bytes) {
  const double start = residentBytes();
  const double most = burst(file, bytes);
  const auto idle = Clock::now();
  const auto limit = static_cast<double>(OS()->getVirtualMemory()->figures().keepLimit);
  auto waited_s = [&] { return std::chrono::duration<double>(Clock::now() - idle).count(); };
  if (most < static_cast<double>(bytes)) {
    std::printf("a read went wrong, or was not held\n");
    return 1;
  }
  while (residentBytes() > start + limit && waited_s() < kLongest_s)
    OS()->getThreads()->sleep(kStep_ms);
  const double end = residentBytes();
  std::printf("settled_s=%.3f start_mib=%.1f most_mib=%.1f end_mib=%.1f limit_mib=%.1f\n",
              waited_s(), start / kMib, most / kMib, end / kMib, limit / kMib);
  return 0;
}
