#pragma once

#include <cstdint>
#include <string>

// What the fake's file manager writes down.

// FakeOpen: one call of a door, also one that failed.
struct FakeOpen {
  enum eDoor { eMedia, eGeneral, eServed };
  eDoor door;
  std::wstring path;
  unsigned flags = 0;
  bool write = false;        // eMedia, eServed
  unsigned disposition = 0;  // eMedia
  unsigned mode = 0;         // eMedia
  unsigned access = 0;       // eGeneral
  unsigned creation = 0;     // eGeneral
  unsigned attributes = 0;   // eGeneral
  uint32_t result = 1;       // 1 or the error
};

// FakeTransferRecord: one transfer, as it was asked for. An asynchronous one is recorded at its
// start.
struct FakeTransferRecord {
  enum eWay { eAtOffset, eAtPosition, eBehind, eAsync };
  eWay way;
  bool write;
  std::wstring path;
  uint64_t offset;
  uint32_t bytes;
  const void* address;
  uint32_t result;    // 1 or the error; of the start, if asynchronous
  uint32_t done = 0;  // bytes; 0 if asynchronous
};
