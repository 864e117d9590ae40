#pragma once

#include <cstddef>
#include <cstdint>

struct PageSlab;

inline constexpr size_t kVmPageBytes = 4096;
inline constexpr size_t kHugePageBytes = 2 * 1024 * 1024;

// PageTag: what is known of one page of a slab. It counts for the first and the last page of an
// extent (a run of pages of one state); those between hold leftovers.
struct PageTag {
  enum State : uint32_t {
    eBorder,  // not the start of anything: a slab's ends, the last page of a region
    eFree,    // first and last page of a free extent
    eRegion,  // first page of a region
    eRecent,  // first page of a region that was freed and not yet merged
  };

  PageSlab* slab;
  PageTag* next;  // in the list of a bin
  PageTag* prev;
  uint32_t pages;
  State state;
};

// PageSlab: anonymous memory on a 2 MiB border, advised onto huge pages, with a tag for each page.
// Story      made for a first region; regions are cut from it and come back; unmapped when it is
//            idle and more is kept than the limit allows.
// Threads    guarded by its owner; map and unmap: any.
// Ownership  map makes it, unmap ends it; its owner sees to it that no region is left.
struct PageSlab {
  // What regions are cut from; larger regions get a slab that just holds them.
  static constexpr size_t kUsualBytes = 16 * kHugePageBytes;

  // A slab with room for a region of that many pages. Null when there is no memory.
  static PageSlab* map(uint32_t regionPages);
  void unmap();

  size_t bytes() const { return size_t{pages} * kVmPageBytes; }
  bool usual() const { return bytes() == kUsualBytes; }
  // Tags -1 and `pages` exist: they are borders.
  PageTag* tags() { return reinterpret_cast<PageTag*>(this + 1) + 1; }
  unsigned char* addressOf(const PageTag* tag) {
    return memory + static_cast<size_t>(tag - tags()) * kVmPageBytes;
  }

  unsigned char* memory;
  uint32_t pages;
  bool hugePages;      // the advice was taken
  PageSlab* nextIdle;  // list of idle slabs, the longest idle first
  PageSlab* prevIdle;
};
