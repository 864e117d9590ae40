#pragma once

#include <cstdint>

#include "platform/OsFiles.h"

// FakeDrive: what the test says of all names with one prefix.
struct FakeDrive {
  iDiskDrive::eType type = iDiskDrive::eFixed;
  uint32_t sectorSize = 512;       // bytes
  bool known = true;               // false: getDisk gives null
  bool asyncTransfers = true;      // false: its files have no asynchronous transfers
  bool transfersByCaller = false;  // true: eTransfersByCaller
  bool readOnly = false;           // writing, making and deleting: eOsReadOnly
  uint64_t capacity = UINT64_MAX;  // bytes of all its files together; beyond: eOsNoSpace
};
