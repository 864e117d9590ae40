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
//            A block is a sector longer than its read, so that the next one would begin a page
//            further on, and transfers of neighbours into neighbours, which the system makes one
//            request of, would have a piece of memory each. A strided slab is for regions of so
//            many pages and one more: there the pages that are read into follow each other in
//            memory, as one piece, and the last pages of the regions come from elsewhere. Measured,
//            3 % of the throughput of eight reads of 64 KiB on a virtual disk, for a fifth more
//            processor time.
// Threads    guarded by its owner; map and unmap: any.
// Ownership  map makes it, unmap ends it; its owner sees to it that no region is left.
struct PageSlab {
  // What regions are cut from; larger regions get a slab that just holds them.
  static constexpr size_t kUsualBytes = 16 * kHugePageBytes;
  // What a strided slab has of huge pages: each run of them is a mapping of its own, so it is less.
  static constexpr size_t kStridedBytes = 2 * kHugePageBytes;

  // A slab with room for a region of that many pages. Null when there is no memory.
  static PageSlab* map(uint32_t regionPages);
  // A strided one for regions of `run` pages and one more; `run` divides the pages of a huge one.
  // Null where the system gives no huge pages as well.
  static PageSlab* mapStrided(uint32_t run);
  void unmap();

  size_t bytes() const { return size_t{pages} * kVmPageBytes; }
  // What it has of the address space: whole units of 2 MiB.
  size_t span() const { return (bytes() + kHugePageBytes - 1) / kHugePageBytes * kHugePageBytes; }
  // Not made for one large region.
  bool usual() const { return run != 0 || bytes() == kUsualBytes; }
  // Tags -1 and `pages` exist: they are borders.
  PageTag* tags() { return reinterpret_cast<PageTag*>(this + 1) + 1; }
  unsigned char* addressOf(const PageTag* tag) {
    return memory + static_cast<size_t>(tag - tags()) * kVmPageBytes;
  }

  unsigned char* memory;
  uint32_t pages;
  uint32_t run;        // of a strided slab; 0: regions of any size
  bool hugePages;      // the advice was taken
  PageSlab* nextIdle;  // list of idle slabs, the longest idle first
  PageSlab* prevIdle;
};
