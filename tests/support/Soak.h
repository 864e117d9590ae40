#pragma once

#include <algorithm>
#include <cstdlib>

// How long a test goes on that could go on for ever. The suite runs the short forms; FSYS_SOAK=1 in
// the environment asks for the long ones. A larger number is the minutes of those that go on by the
// clock.
inline bool isSoaking() {
  const char* asked = std::getenv("FSYS_SOAK");
  return asked && *asked && *asked != '0';
}

// The turns of a test: `brief` in the suite, `full` when it soaks.
inline unsigned soakTurns(unsigned brief, unsigned full) { return isSoaking() ? full : brief; }

// The milliseconds of a test that goes on by the clock.
inline double soakTime_ms(double brief_ms) {
  return isSoaking() ? std::max(std::atof(std::getenv("FSYS_SOAK")), 1.0) * 60'000 : brief_ms;
}
