#include "platform/linux/LinuxSystemInfo.h"

#include <sched.h>
#include <time.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdlib>

namespace {

class LinuxSystemInfo final : public iSystemInfo {
public:
  constexpr LinuxSystemInfo() = default;

  LightweightString<wchar_t> getWorkstationName() const override {
    char name[HOST_NAME_MAX + 1] = {};
    gethostname(name, HOST_NAME_MAX);
    return fromUTF8(name);
  }

  // The processors that this process may use.
  unsigned getProcessorCount() const override {
    cpu_set_t set;
    CPU_ZERO(&set);
    if (sched_getaffinity(0, sizeof set, &set) == 0)
      return static_cast<unsigned>(std::max(CPU_COUNT(&set), 1));
    return static_cast<unsigned>(std::max(sysconf(_SC_NPROCESSORS_ONLN), 1L));
  }

  uint32_t getPageSize() const override { return static_cast<uint32_t>(sysconf(_SC_PAGESIZE)); }

  uint32_t getProcessId() const override { return static_cast<uint32_t>(getpid()); }

  double getProcessCpu_ms() const override {
    timespec used{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &used);
    return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) * 1e-6;
  }

  bool getEnvironment(const char* name, std::string& value) const override {
    const char* found = std::getenv(name);
    if (found) value = found;
    return found != nullptr;
  }
};

constinit LinuxSystemInfo theSystemInfo;

}  // namespace

iSystemInfo* linuxSystemInfo() { return &theSystemInfo; }
