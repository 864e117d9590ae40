#include "platform/linux/PageSlabMap.h"

#include <sys/mman.h>

#include <new>

bool PageSlabMap::add(PageSlab* slab) {
  uintptr_t last = unitOf(slab->memory + slab->span() - 1);
  for (uintptr_t unit = unitOf(slab->memory); unit <= last; ++unit) {
    if (unit >> kLeafBits >= kLeaves) return false;
    Leaf*& leaf = leaves_[unit >> kLeafBits];
    if (leaf) continue;
    void* room =
        mmap(nullptr, sizeof(Leaf), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (room == MAP_FAILED) return false;
    leaf = new (room) Leaf;  // the system's pages are zero: no slab anywhere
  }
  set(slab, slab);
  return true;
}

void PageSlabMap::remove(PageSlab* slab) { set(slab, nullptr); }

void PageSlabMap::set(PageSlab* slab, PageSlab* value) {
  uintptr_t first = unitOf(slab->memory);
  for (uintptr_t unit = first; unit < first + slab->span() / kHugePageBytes; ++unit)
    (*leaves_[unit >> kLeafBits])[unit % (size_t{1} << kLeafBits)] = value;
}

PageSlab* PageSlabMap::find(const void* address) const {
  uintptr_t unit = unitOf(address);
  if (unit >> kLeafBits >= kLeaves) return nullptr;
  const Leaf* leaf = leaves_[unit >> kLeafBits];
  return leaf ? (*leaf)[unit % (size_t{1} << kLeafBits)] : nullptr;
}
