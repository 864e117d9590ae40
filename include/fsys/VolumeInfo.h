#pragma once

#include <cstdint>

// VolumeInfo: the space of a drive, as the system tells it.
// Units      bytes.
struct VolumeInfo {
  uint64_t freeBytes = 0;
  uint64_t totalBytes = 0;
  bool isFixedDrive = false;
  bool reportedFlag = false;
};
