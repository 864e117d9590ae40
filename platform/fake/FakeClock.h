#pragma once

#include <algorithm>

#include "platform/Clocks.h"

// FakeClock: a clock that stands still until it is stepped.
// Units      milliseconds with fractions; it starts at 1000 and never goes back.
class FakeClock final : public iClock {
public:
  double now_ms() const override { return now_ms_; }
  // Steps the clock and runs nothing; FakeOS::advance runs what falls due on the way.
  void step(double ms) { now_ms_ += std::max(ms, 0.0); }
  void stepTo(double ms) { now_ms_ = std::max(ms, now_ms_); }

private:
  double now_ms_ = 1000;
};
