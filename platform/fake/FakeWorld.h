#pragma once

#include <functional>
#include <limits>

#include "platform/fake/FakeClock.h"
#include "platform/fake/FakeErrors.h"
#include "platform/fake/FakeThreads.h"

class FakeAsyncIo;

// FakeWorld: what happens while somebody waits.
// Story      A wait does not block: it lets one thing after another happen until the wait is over:
//            a hand-run thread that is due, a queued task, a pending completion that is not held;
//            the three take turns. When nothing can happen now, the clock steps to the next moment
//            at which something can, or to the end of the wait. What falls due at that very moment
//            happens before the wait ends.
// Threads    one; waits nest.
// Errors     std::logic_error when the wait could never end: nothing can happen any more, an hour
//            of the stepped clock went by, or things go on happening while the clock stands still.
class FakeWorld {
public:
  static constexpr double kForever_ms = std::numeric_limits<double>::infinity();
  static constexpr double kLongestWait_ms = 3'600'000;
  static constexpr unsigned kMostThingsAtOnce = 200'000;

  FakeWorld(FakeClock& clock, FakeThreads& threads, FakeAsyncIo& asyncIo, FakeErrors& errors)
      : clock_(clock), threads_(threads), asyncIo_(asyncIo), errors_(errors) {}

  FakeClock& clock() { return clock_; }
  FakeThreads& threads() { return threads_; }
  FakeErrors& errors() { return errors_; }

  // Lets one thing happen; false when nothing can happen now.
  bool runOne();
  // True when `done` answered true, false when `timeout_ms` passed first.
  bool waitUntil(const std::function<bool()>& done, double timeout_ms);
  // Steps the clock; everything that falls due on the way happens.
  void advance(double ms);

private:
  FakeClock& clock_;
  FakeThreads& threads_;
  FakeAsyncIo& asyncIo_;
  FakeErrors& errors_;
  unsigned turn_ = 0;
};
