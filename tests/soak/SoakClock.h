#pragma once

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <mutex>

// SoakClock: the time of a soak, and its end.
// Story      Everybody does things at their turns, and waits here for the next one until it is
//            over.
// Threads    any.
// Units      milliseconds since the making.
class SoakClock {
public:
  double now_ms() const {
    return std::chrono::duration<double, std::milli>(Steady::now() - begin_).count();
  }
  // False, and at once, when it is over.
  bool waitUntil(double at_ms) {
    const auto at = begin_ + std::chrono::duration_cast<Steady::duration>(Milliseconds(at_ms));
    std::unique_lock lock(lock_);
    changed_.wait_until(lock, at, [this] { return isOver_.load(); });
    return !isOver_;
  }
  bool waitFor(double time_ms) { return waitUntil(now_ms() + time_ms); }
  void end() {
    std::lock_guard lock(lock_);
    isOver_ = true;
    changed_.notify_all();
  }
  bool isOver() const { return isOver_; }

private:
  using Steady = std::chrono::steady_clock;
  using Milliseconds = std::chrono::duration<double, std::milli>;

  const Steady::time_point begin_ = Steady::now();
  std::mutex lock_;
  std::condition_variable changed_;
  std::atomic<bool> isOver_{false};
};
