#pragma once

#include <chrono>
#include <condition_variable>

#include "platform/common/Mutex.h"

// WaitCondition: waits for a change of what a Mutex guards.
// Threads    any.
class WaitCondition {
public:
  using Deadline = std::chrono::steady_clock::time_point;

  // The lock is let go while waiting and held again after it.
  void wait(Mutex& mutex) REQUIRES(mutex) { condition_.wait(mutex); }
  // False when the deadline passed first.
  bool waitUntil(Mutex& mutex, Deadline deadline) REQUIRES(mutex) {
    return condition_.wait_until(mutex, deadline) == std::cv_status::no_timeout;
  }
  void wakeOne() { condition_.notify_one(); }
  void wakeAll() { condition_.notify_all(); }

private:
  std::condition_variable_any condition_;
};
