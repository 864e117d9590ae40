#pragma once

#include <cstdint>
#include <string>

#include "tools/fsys/demo/DemoChecks.h"

// DemoStep: what one step of the day did: a row of the table.
// Units      bytes, milliseconds.
struct DemoStep {
  std::string name;
  std::string what;
  std::string amount;      // in words
  uint64_t bytes = 0;      // that were transferred; 0: it was no matter of speed
  double transfer_ms = 0;  // of the time, that of the transfers; 0: all of it
  double time_ms = 0;
  DemoChecks checks;
};
