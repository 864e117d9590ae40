#include "platform/linux/PageBins.h"

#include <bit>

unsigned PageBins::binOf(uint32_t pages) {
  if (pages < 4) return pages;
  auto doubling = static_cast<unsigned>(std::bit_width(pages)) - 1;
  return doubling * 4 + (pages >> (doubling - 2) & 3);
}

void PageBins::put(PageTag* extent) {
  unsigned bin = binOf(extent->pages);
  extent->prev = nullptr;
  extent->next = lists_[bin];
  if (extent->next) extent->next->prev = extent;
  lists_[bin] = extent;
  filled_[bin / 64] |= uint64_t{1} << bin % 64;
}

void PageBins::remove(PageTag* extent) {
  unsigned bin = binOf(extent->pages);
  if (extent->next) extent->next->prev = extent->prev;
  if (extent->prev) {
    extent->prev->next = extent->next;
    return;
  }
  lists_[bin] = extent->next;
  if (!lists_[bin]) filled_[bin / 64] &= ~(uint64_t{1} << bin % 64);
}

PageTag* PageBins::find(uint32_t pages) const {
  unsigned bin = binOf(pages);
  // Extents of the request's own bin may be too small; those of any later one are not.
  if (PageTag* extent = bestIn(lists_[bin], pages)) return extent;
  return firstFromBin(bin + 1);
}

PageTag* PageBins::bestIn(PageTag* list, uint32_t pages) {
  PageTag* best = nullptr;
  for (PageTag* extent = list; extent; extent = extent->next) {
    if (extent->pages == pages) return extent;
    if (extent->pages > pages && (!best || extent->pages < best->pages)) best = extent;
  }
  return best;
}

PageTag* PageBins::firstFromBin(unsigned bin) const {
  for (; bin < kBins; bin = (bin / 64 + 1) * 64) {
    uint64_t later = filled_[bin / 64] >> bin % 64;
    if (later) return lists_[bin + static_cast<unsigned>(std::countr_zero(later))];
  }
  return nullptr;
}
