#pragma once

#include <cstdint>

// Arithmetic of sectors. Pure; lengths in bytes; computed in 64 bits, so that nothing wraps.
namespace SectorArithmetic {

// Bytes from the sector boundary at or before `offset`.
constexpr uint32_t headBytes(uint64_t offset, uint32_t sectorSize) {
  return static_cast<uint32_t>(offset % sectorSize);
}

// Bytes from `end` to the sector boundary at or after it.
constexpr uint32_t tailPadding(uint64_t end, uint32_t sectorSize) {
  uint32_t rest = static_cast<uint32_t>(end % sectorSize);
  return rest == 0 ? 0 : sectorSize - rest;
}

// By how much a read grows so that it begins and ends on sector boundaries.
constexpr uint64_t readGrowth(uint64_t offset, uint32_t length, uint32_t sectorSize) {
  uint32_t head = headBytes(offset, sectorSize);
  return head + uint64_t{tailPadding(uint64_t{head} + length, sectorSize)};
}

static_assert(readGrowth(1000, 100, 512) == 924);
static_assert(readGrowth(0, 512, 512) == 0);

}  // namespace SectorArithmetic
