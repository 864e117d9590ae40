#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

// Bytes that are a function of their offset in the file and of a seed, so that any piece of a file
// can be checked by itself, and a piece that landed elsewhere shows.
// Units      bytes.

// The eight bytes at 8 * `index`, the first in the lowest bits.
inline uint64_t patternWord(uint64_t index, uint64_t seed = 1) {
  uint64_t x = (index + 1) * 0x9E3779B97F4A7C15u ^ seed * 0xD1B54A32D192ED03u;
  x ^= x >> 29;
  x *= 0xBF58476D1CE4E5B9u;
  x ^= x >> 32;
  return x;
}

inline unsigned char patternByte(uint64_t offset, uint64_t seed = 1) {
  return static_cast<unsigned char>(patternWord(offset / 8, seed) >> (offset % 8 * 8));
}

static_assert(std::endian::native == std::endian::little, "words are compared with bytes");

// How many of these bytes are right before the first that is not: all, or the beginning up to it.
inline uint64_t rightPatternBytes(const unsigned char* from, uint64_t bytes, uint64_t offset,
                                  uint64_t seed = 1) {
  uint64_t i = 0;
  auto isRight = [&] { return from[i] == patternByte(offset + i, seed); };
  while (i < bytes && (offset + i) % 8 != 0 && isRight()) ++i;
  if ((offset + i) % 8 == 0) {
    for (uint64_t word; i + 8 <= bytes; i += 8) {
      std::memcpy(&word, from + i, 8);
      if (word != patternWord((offset + i) / 8, seed)) break;
    }
  }
  while (i < bytes && isRight()) ++i;
  return i;
}

// Fills `bytes` bytes that belong at `offset` of the file.
inline void fillPattern(void* buffer, uint64_t bytes, uint64_t offset, uint64_t seed = 1) {
  auto* to = static_cast<unsigned char*>(buffer);
  uint64_t i = 0;
  for (; i < bytes && (offset + i) % 8 != 0; ++i) to[i] = patternByte(offset + i, seed);
  for (; i + 8 <= bytes; i += 8) {
    const uint64_t word = patternWord((offset + i) / 8, seed);
    std::memcpy(to + i, &word, 8);
  }
  for (; i < bytes; ++i) to[i] = patternByte(offset + i, seed);
}

inline std::vector<unsigned char> patternBytes(uint64_t bytes, uint64_t offset = 0,
                                               uint64_t seed = 1) {
  std::vector<unsigned char> filled(bytes);
  fillPattern(filled.data(), bytes, offset, seed);
  return filled;
}

// Where these bytes differ from what belongs at `offset`; empty when they do not. For
// EXPECT_EQ("", whyNotPattern(...)).
inline std::string whyNotPattern(const void* buffer, uint64_t bytes, uint64_t offset,
                                 uint64_t seed = 1) {
  auto* from = static_cast<const unsigned char*>(buffer);
  const uint64_t i = rightPatternBytes(from, bytes, offset, seed);
  if (i == bytes) return "";
  return "byte " + std::to_string(i) + " (offset " + std::to_string(offset + i) + ") is " +
         std::to_string(from[i]) + ", not " + std::to_string(patternByte(offset + i, seed));
}

inline std::string whyNotPattern(const std::vector<unsigned char>& bytes, uint64_t offset = 0,
                                 uint64_t seed = 1) {
  return whyNotPattern(bytes.data(), bytes.size(), offset, seed);
}

// The same for zeros.
inline std::string whyNotZeros(const void* buffer, uint64_t bytes) {
  auto* from = static_cast<const unsigned char*>(buffer);
  for (uint64_t i = 0; i < bytes; ++i)
    if (from[i] != 0) return "byte " + std::to_string(i) + " is " + std::to_string(from[i]);
  return "";
}
