#pragma once

#include <cstdint>
#include <string>
#include <vector>

// SoakOptions: how a soak was asked for.
struct SoakOptions {
  double minutes = 60;
  uint64_t seed = 1;
  bool judgesLateness = true;
  std::vector<std::string> folders;  // none: one where it runs

  static const char* usage();
  // False for words that are none of these.
  bool read(int count, const char* const* words);
};
