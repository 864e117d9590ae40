#include "platform/linux/LinuxThreads.h"

#include <errno.h>
#include <sched.h>
#include <time.h>

#include <new>

#include "platform/linux/LinuxEvent.h"
#include "platform/linux/LinuxTaskQueue.h"
#include "platform/linux/LinuxThreadTable.h"

namespace {

// Never destroyed: threads may still run while the process ends.
LinuxThreadTable& threadTable() {
  static LinuxThreadTable& only = *new LinuxThreadTable;
  return only;
}

class LinuxThreads final : public iThreads {
public:
  constexpr LinuxThreads() = default;

  Qv::Ptr<iThreadEvent> createEvent(int, int, int) override {
    return Qv::Ptr<iThreadEvent>(new (std::nothrow) LinuxEvent);
  }

  // Until a moment, not for a time: signals that come all the time would make it last for ever.
  void sleep(uint32_t ms) override {
    constexpr long kSecond_ns = 1'000'000'000;
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &end);
    end.tv_sec += ms / 1000;
    end.tv_nsec += static_cast<long>(ms % 1000) * 1'000'000;
    if (end.tv_nsec >= kSecond_ns) {
      ++end.tv_sec;
      end.tv_nsec -= kSecond_ns;
    }
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &end, nullptr) == EINTR) continue;
  }

  void yield() override { sched_yield(); }

  Qv::Ptr<iTaskQueue> createTaskQueue(const char* name, unsigned threads) override try {
    return Qv::Ptr<iTaskQueue>(new LinuxTaskQueue(name, threads));
  } catch (const std::bad_alloc&) {
    return {};
  }

  uint32_t create(unsigned (*entry)(void*), const char* name, void* argument) override {
    return entry ? threadTable().create(entry, name, argument) : 0;
  }

  void kill(uint32_t id) override { threadTable().kill(id); }
};

constinit LinuxThreads theThreads;

}  // namespace

iThreads* linuxThreads() { return &theThreads; }
