#include "platform/linux/LinuxClock.h"

#include <time.h>

namespace {

class LinuxClock final : public iClock {
public:
  constexpr LinuxClock() = default;

  double now_ms() const override {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<double>(now.tv_sec) * 1e3 + static_cast<double>(now.tv_nsec) * 1e-6;
  }
};

constinit LinuxClock theClock;

}  // namespace

iClock* linuxClock() { return &theClock; }
