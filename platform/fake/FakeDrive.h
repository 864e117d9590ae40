#pragma once

#include <cstdint>
#include <string>

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
  bool listed = false;             // getDisks gives it, in the order in which they were first set
  bool excluded = false;           // as iDiskDrive says it
  enum eLocks : uint8_t { eLocksOfAll, eLocksOfThisMachine, eNoLocks };
  eLocks locks = eLocksOfAll;  // which locks on its files are known here
  bool silent = false;         // does not answer: errands and questions cost their patience
  uint64_t freeBytes = uint64_t{1} << 40;
  uint64_t totalBytes = uint64_t{1} << 41;
  std::wstring fileSystem = L"ext4";
  std::wstring uncName = {};  // of its root, without a separator at its end; empty: it has none
};
