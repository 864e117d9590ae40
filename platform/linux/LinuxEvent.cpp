#include "platform/linux/LinuxEvent.h"

#include <errno.h>
#include <linux/futex.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

namespace {

constexpr uint32_t kMsInS = 1000;
constexpr long kNsInMs = 1'000'000;
constexpr long kNsInS = 1'000'000'000;

static_assert(sizeof(std::atomic<uint32_t>) == sizeof(uint32_t), "the kernel reads the word");

// Sleeps while the word is 0, until the deadline on the monotonic clock; false when it has passed.
bool sleepWhileZero(std::atomic<uint32_t>& word, const timespec* deadline) {
  long result = syscall(SYS_futex, &word, FUTEX_WAIT_BITSET_PRIVATE, 0, deadline, nullptr,
                        FUTEX_BITSET_MATCH_ANY);
  return result == 0 || errno != ETIMEDOUT;
}

timespec after(uint32_t timeout_ms) {
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += timeout_ms / kMsInS;
  deadline.tv_nsec += static_cast<long>(timeout_ms % kMsInS) * kNsInMs;
  if (deadline.tv_nsec >= kNsInS) {
    deadline.tv_nsec -= kNsInS;
    ++deadline.tv_sec;
  }
  return deadline;
}

}  // namespace

// Both sides use the strongest order: either the signaller sees the waiter, or the waiter sees the
// signal before it sleeps.
void LinuxEvent::signal() {
  if (signalled_.exchange(1) != 0 || waiters_.load() == 0) return;
  syscall(SYS_futex, &signalled_, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

bool LinuxEvent::take() {
  uint32_t expected = 1;
  return signalled_.compare_exchange_strong(expected, 0);
}

bool LinuxEvent::waitUntil(const timespec* deadline) {
  waiters_.fetch_add(1);
  bool inTime = true;
  bool taken = take();
  while (!taken && inTime) {
    inTime = sleepWhileZero(signalled_, deadline);
    taken = take();
  }
  waiters_.fetch_sub(1);
  return taken;
}

bool LinuxEvent::wait(uint32_t timeout_ms) {
  if (take()) return true;
  if (timeout_ms == 0) return false;
  if (timeout_ms == kForever) return waitUntil(nullptr);
  timespec deadline = after(timeout_ms);
  return waitUntil(&deadline);
}
