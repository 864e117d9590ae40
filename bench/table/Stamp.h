#pragma once

#include <cstdint>
#include <cstring>

// Stamps: each sector of a file begins with a word that says which file and offset it belongs to,
// so that a transfer that went astray is seen. Both sides look at the ends of a block only: enough
// to find a wrong place, too little to be measured.
namespace Stamp {

constexpr uint32_t kSector = 4096;  // bytes between stamps

inline uint64_t at(uint64_t offset, uint64_t file) {
  return (offset / kSector + 1) * 0x9E3779B97F4A7C15ull ^ (file + 1) * 0xC2B2AE3D27D4EB4Full;
}

inline void put(unsigned char* bytes, uint64_t offset, uint64_t file) {
  uint64_t word = at(offset, file);
  std::memcpy(bytes, &word, sizeof word);
}

inline bool isAt(const unsigned char* bytes, uint64_t offset, uint64_t file) {
  uint64_t word;
  std::memcpy(&word, bytes, sizeof word);
  return word == at(offset, file);
}

// The first and the last sector of a block; `bytes` is a multiple of kSector.
inline void putEnds(unsigned char* block, uint64_t offset, uint32_t bytes, uint64_t file) {
  put(block, offset, file);
  put(block + bytes - kSector, offset + bytes - kSector, file);
}

inline bool endsAreRight(const unsigned char* block, uint64_t offset, uint32_t bytes,
                         uint64_t file) {
  return isAt(block, offset, file) && isAt(block + bytes - kSector, offset + bytes - kSector, file);
}

}  // namespace Stamp
