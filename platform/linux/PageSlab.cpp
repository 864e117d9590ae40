#include "platform/linux/PageSlab.h"

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <new>

namespace {

constexpr size_t roundUp(size_t bytes, size_t unit) { return (bytes + unit - 1) / unit * unit; }

constexpr size_t tagBytes(size_t pages) {
  return roundUp(sizeof(PageSlab) + (pages + 2) * sizeof(PageTag), kVmPageBytes);
}

unsigned char* mapBytes(size_t bytes) {
  void* memory = mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  return memory == MAP_FAILED ? nullptr : static_cast<unsigned char*>(memory);
}

// Memory on a 2 MiB border: more is mapped, and what lies around it is given back.
unsigned char* mapOnBorder(size_t bytes) {
  unsigned char* wide = mapBytes(bytes + kHugePageBytes);
  if (!wide) return nullptr;
  size_t before = roundUp(reinterpret_cast<uintptr_t>(wide), kHugePageBytes) -
                  reinterpret_cast<uintptr_t>(wide);
  if (before != 0) munmap(wide, before);
  munmap(wide + before + bytes, kHugePageBytes - before);
  return wide + before;
}

// Touches the memory, as huge pages: whether it is of them now, each of which lies in one piece.
bool touchHuge(unsigned char* memory, size_t bytes) {
  if (madvise(memory, bytes, MADV_HUGEPAGE) != 0) return false;
  for (size_t at = 0; at < bytes; at += kHugePageBytes) {
    memory[at] = 0;
    std::array<unsigned char, kHugePageBytes / kVmPageBytes> pages{};
    if (mincore(memory + at, kHugePageBytes, pages.data()) != 0) return false;
    if (!std::ranges::all_of(pages, [](unsigned char page) { return page & 1; })) return false;
  }
  return true;
}

// Moves the runs of `together`, which lie one behind the other, to `apart`, with a page between
// them: how many. The rest is unmapped.
size_t moveRuns(unsigned char* together, unsigned char* apart, size_t runBytes, size_t count) {
  for (size_t i = 0; i < count; ++i) {
    unsigned char* run = together + i * runBytes;
    if (mremap(run, runBytes, runBytes, MREMAP_MAYMOVE | MREMAP_FIXED,
               apart + i * (runBytes + kVmPageBytes)) != MAP_FAILED)
      continue;
    munmap(run, (count - i) * runBytes);
    return i;
  }
  return count;
}

// A move that fails may have unmapped its destination, which may be somebody else's by now: these
// addresses are given up.
void unmapWithout(unsigned char* memory, size_t bytes, size_t hole, size_t holeBytes) {
  if (hole != 0) munmap(memory, hole);
  munmap(memory + hole + holeBytes, bytes - hole - holeBytes);
}

// So many runs of huge pages, which lie one behind the other in memory, with a page between them
// in addresses.
unsigned char* mapRuns(size_t runBytes, size_t count) {
  const size_t stride = runBytes + kVmPageBytes;
  unsigned char* together = mapOnBorder(runBytes * count);
  if (!together) return nullptr;
  unsigned char* apart = touchHuge(together, runBytes * count)
                             ? mapOnBorder(roundUp(stride * count, kHugePageBytes))
                             : nullptr;
  if (!apart) {
    munmap(together, runBytes * count);
    return nullptr;
  }
  size_t moved = moveRuns(together, apart, runBytes, count);
  if (moved == count) return apart;
  unmapWithout(apart, roundUp(stride * count, kHugePageBytes), moved * stride, runBytes);
  return nullptr;
}

// A slab of that memory; it is unmapped when there is no room for the tags.
PageSlab* makeSlab(unsigned char* memory, size_t bytes) {
  // Only the tags of extents' ends are ever touched, so this costs far less than it maps.
  unsigned char* room = mapBytes(tagBytes(bytes / kVmPageBytes));
  if (!room) {
    munmap(memory, roundUp(bytes, kHugePageBytes));
    return nullptr;
  }
  auto* slab = new (room) PageSlab{};
  slab->memory = memory;
  slab->pages = static_cast<uint32_t>(bytes / kVmPageBytes);
  slab->tags()[-1].state = PageTag::eBorder;
  slab->tags()[slab->pages].state = PageTag::eBorder;
  return slab;
}

}  // namespace

PageSlab* PageSlab::map(uint32_t regionPages) {
  size_t needed = roundUp(size_t{regionPages} * kVmPageBytes, kHugePageBytes);
  size_t size = std::max(needed, kUsualBytes);
  unsigned char* memory = mapOnBorder(size);
  if (!memory && size != needed) memory = mapOnBorder(size = needed);
  if (!memory) return nullptr;
  PageSlab* slab = makeSlab(memory, size);
  if (slab) slab->hugePages = madvise(memory, size, MADV_HUGEPAGE) == 0;
  return slab;
}

PageSlab* PageSlab::mapStrided(uint32_t run) {
  const size_t runBytes = size_t{run} * kVmPageBytes;
  const size_t count = kStridedBytes / runBytes;
  unsigned char* memory = mapRuns(runBytes, count);
  if (!memory) return nullptr;
  PageSlab* slab = makeSlab(memory, count * (runBytes + kVmPageBytes));
  if (!slab) return nullptr;
  slab->run = run;
  slab->hugePages = true;
  return slab;
}

void PageSlab::unmap() {
  munmap(memory, span());
  munmap(this, tagBytes(pages));
}
