#pragma once

#include <array>
#include <cstdint>

#include "platform/linux/PageSlab.h"

// PageBins: free extents by size, so that a fitting one is found without a search through all.
// Story      four bins to a doubling; the extent that was put last is found first.
// Threads    guarded by its owner.
// Units      pages.
class PageBins {
public:
  constexpr PageBins() = default;

  void put(PageTag* extent);
  void remove(PageTag* extent);
  // The best of the smallest bin that has an extent of that many pages; null when there is none.
  PageTag* find(uint32_t pages) const;

private:
  static constexpr unsigned kBins = 128;

  static unsigned binOf(uint32_t pages);
  static PageTag* bestIn(PageTag* list, uint32_t pages);
  PageTag* firstFromBin(unsigned bin) const;

  std::array<PageTag*, kBins> lists_{};
  std::array<uint64_t, kBins / 64> filled_{};  // one bit a list that is not empty
};
