#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

// BlockDevice: what the system tells of the disk under a device number.
// Units      bytes.
struct BlockDevice {
  bool known = false;      // whether the number is a block device's
  bool removable = false;  // the medium can be taken out, or the disk is on a hot-plug bus
  bool optical = false;
  uint32_t sectorSize = 0;  // 0 when it is not known
};

// Where the system tells of its devices.
inline constexpr char kSystemFolder[] = "/sys";

// A partition answers for its disk. False when there was no descriptor or memory for the look: then
// the answer is what was seen without.
bool describeBlockDevice(dev_t device, BlockDevice& answer,
                         const std::string& system = kSystemFolder);
