#pragma once

#include <cstdint>
#include <string>

// ProcessFigures: what the process holds that an engine could leave behind.
struct ProcessFigures {
  uint64_t descriptors = 0;
  uint64_t threads = 0;
  uint64_t regionBytes = 0;  // of the platform's virtual memory

  static ProcessFigures now();
  // Waits, at most ten seconds, until there is no more of anything than here: a thread that has
  // ended and a transfer that was cut off need a moment to be let go. In words; empty when nothing
  // is left over.
  std::string whatIsLeft() const;
};
