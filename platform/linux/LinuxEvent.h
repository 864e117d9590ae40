#pragma once

#include <atomic>

#include "platform/OsThreads.h"

// LinuxEvent: an event on a futex. A signal wakes at most one waiter; it makes a system call only
// when the event was not signalled and somebody waits.
// Threads    any. The words below are all there is; no lock.
class LinuxEvent final : public iThreadEvent {
public:
  void signal() override;
  void reset() override { signalled_.store(0, std::memory_order_release); }
  bool wait(uint32_t timeout_ms) override;

private:
  bool take();
  bool waitUntil(const struct timespec* deadline);

  std::atomic<uint32_t> signalled_{0};  // 1 from a signal to the wait that it ends
  std::atomic<uint32_t> waiters_{0};    // threads that sleep or are about to
};
