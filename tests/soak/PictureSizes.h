#pragma once

#include <algorithm>
#include <cstdint>
#include <iterator>

// The sizes of the players' pictures, 60 MiB a second in all. No two are the same: a memory fault
// knows by the size of what is asked for whom it strikes, and so nothing else that is read has one
// of these, neither a part of a picture nor some that are merged.
namespace PictureSizes {

constexpr uint32_t kKib = 1024;
constexpr uint32_t kAll_kib[] = {1028, 516, 260, 264, 132, 136, 68, 72};
constexpr uint32_t kMostMerged = 4;

constexpr bool has(uint32_t bytes) {
  return std::any_of(std::begin(kAll_kib), std::end(kAll_kib),
                     [bytes](uint32_t kib) { return kib * kKib == bytes; });
}

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
