#include "platform/linux/PageSlab.h"

#include <sys/mman.h>

#include <algorithm>
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

}  // namespace

PageSlab* PageSlab::map(uint32_t regionPages) {
  size_t needed = roundUp(size_t{regionPages} * kVmPageBytes, kHugePageBytes);
  size_t size = std::max(needed, kUsualBytes);
  unsigned char* memory = mapOnBorder(size);
  if (!memory && size != needed) memory = mapOnBorder(size = needed);
  if (!memory) return nullptr;
  // Only the tags of extents' ends are ever touched, so this costs far less than it maps.
  unsigned char* room = mapBytes(tagBytes(size / kVmPageBytes));
  if (!room) {
    munmap(memory, size);
    return nullptr;
  }
  auto* slab = new (room) PageSlab{};
  slab->memory = memory;
  slab->pages = static_cast<uint32_t>(size / kVmPageBytes);
  slab->hugePages = madvise(memory, size, MADV_HUGEPAGE) == 0;
  slab->tags()[-1].state = PageTag::eBorder;
  slab->tags()[slab->pages].state = PageTag::eBorder;
  return slab;
}

void PageSlab::unmap() {
  munmap(memory, bytes());
  munmap(this, tagBytes(pages));
}
