#pragma once

#include <cstdint>
#include <string>

#include "tools/fsys/LatencyStats.h"

class Progress;

// FileCopier: copies files through the engine: read and written with several transfers in flight;
// a block is written from the memory that it was read into.
// Story      The copy has a name of its own until it is whole, and then takes the destination's: an
//            interruption or a failure leaves nothing.
// Threads    one at a time.
// Errors     throws ToolErrors.
class FileCopier {
public:
  struct Settings {
    uint32_t block;
    unsigned readsInFlight;
    unsigned writesInFlight;
    bool replace;
  };

  explicit FileCopier(const Settings& settings) : settings_(settings) {}

  // Where a source goes: into the destination when that is a folder, else to its very name.
  static std::string destinationOf(const std::string& source, const std::string& destination);
  // Returns the bytes that were copied.
  uint64_t copy(const std::string& source, const std::string& destination, Progress& progress);

  const LatencyStats& reads() const { return reads_; }
  const LatencyStats& writes() const { return writes_; }

private:
  uint64_t transfer(const std::string& source, const std::string& part, Progress& progress);

  Settings settings_;
  LatencyStats reads_;
  LatencyStats writes_;
};
