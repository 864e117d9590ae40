#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

// The sizes of the players' pictures, 60 MiB a second in all. No two are the same: a memory fault
// knows by the size of what is asked for whom it strikes, and so nothing else that is read has one
// of these: no part of a picture, none that are merged, no piece of a shot.
namespace PictureSizes {

constexpr uint32_t kKib = 1024;
constexpr uint32_t kAll_kib[] = {1028, 516, 260, 264, 132, 136, 68, 72};
constexpr uint32_t kMostMerged = 4;

constexpr bool has(uint32_t bytes) {
  return std::any_of(std::begin(kAll_kib), std::end(kAll_kib),
                     [bytes](uint32_t kib) { return kib * kKib == bytes; });
}

// So many bytes, or somewhat less: in whole sectors not as many as a picture has.
constexpr uint32_t notAPicture(uint32_t bytes) {
  constexpr uint32_t kSector = 4096;
  for (;;) {
    const uint32_t whole = (bytes + kSector - 1) / kSector * kSector;
    if (!has(whole)) return bytes;
    bytes = whole - kSector;
  }
}
static_assert(notAPicture(72 * kKib - 1) == 64 * kKib);
static_assert(notAPicture(72 * kKib + 1) == 72 * kKib + 1);

// Whether pictures of that player may be merged.
constexpr bool areMerged(unsigned player) { return player % 2 != 0; }

constexpr bool hasSomeThatAreMerged() {
  for (unsigned player = 0; player < std::size(kAll_kib); ++player)
    for (uint32_t merged = 2; areMerged(player) && merged <= kMostMerged; ++merged)
      if (has(merged * kAll_kib[player] * kKib)) return true;
  return false;
}
static_assert(!hasSomeThatAreMerged());

}  // namespace PictureSizes
