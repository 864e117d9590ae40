#pragma once

#include <cstdint>
#include <string>

// Stamps: test data that knows where it belongs. Each sector of 512 bytes holds a mark, its own
// offset, a seed, and words that follow from both; so every byte of a file can be checked alone.
// Threads    any.
namespace Stamp {

constexpr uint32_t kSectorBytes = 512;

// Fills in the bytes of [offset, offset + count).
void fill(unsigned char* bytes, uint64_t offset, uint64_t count, uint64_t seed);

// The position of the first wrong byte, counted from `offset`; `count` when all are right.
uint64_t check(const unsigned char* bytes, uint64_t offset, uint64_t count, uint64_t seed);

// What a sector holds instead, in words: another stamp, zeros, or something else.
std::string describe(const unsigned char* sector, uint64_t count);

}  // namespace Stamp
