#pragma once

#include <cstdlib>

// How long a test goes on that could go on for ever. The suite runs the short forms; FSYS_SOAK=1 in
// the environment asks for the long ones.
inline bool isSoaking() {
  const char* asked = std::getenv("FSYS_SOAK");
  return asked && *asked && *asked != '0';
}

// The turns of a test: `brief` in the suite, `full` when it soaks.
inline unsigned soakTurns(unsigned brief, unsigned full) { return isSoaking() ? full : brief; }
