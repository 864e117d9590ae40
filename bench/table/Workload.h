#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Workload: what every side is to do in a round. Blocks are read or written in order, each once.
struct Workload {
  struct File {
    std::string path;
    uint64_t number = 0;  // what its stamps say
  };
  std::vector<File> files;
  uint64_t bytesPerFile = 0;
  uint32_t block = 0;
  unsigned inFlight = 1;  // blocks under way at once, a file
  // The engine's alone: reads that may wait are merged up to so many bytes. 0: none is.
  uint32_t merged = 0;

  uint64_t bytes() const { return bytesPerFile * files.size(); }
};
