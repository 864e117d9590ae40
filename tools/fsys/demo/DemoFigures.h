#pragma once

#include <cstdint>

#include "tools/fsys/LatencyStats.h"

// DemoFigures: what came of playing or recording something.
// Units      bytes, milliseconds. A picture is one turn, with the sound that belongs to it.
struct DemoFigures {
  uint64_t bytes = 0;
  uint64_t pictures = 0;
  uint64_t late = 0;
  uint64_t cacheHits = 0;
  uint64_t checkedBytes = 0;
  double checking_ms = 0;  // processor time that is not the engine's
  LatencyStats latency;

  void add(const DemoFigures& other);
};
