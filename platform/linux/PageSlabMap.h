#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/linux/PageSlab.h"

// PageSlabMap: the slab that an address lies in, found by two loads.
// Threads    guarded by its owner.
class PageSlabMap {
public:
  constexpr PageSlabMap() = default;

  // False when there is no memory; nothing is changed then that matters.
  bool add(PageSlab* slab);
  void remove(PageSlab* slab);
  // Null for an address that lies in no slab.
  PageSlab* find(const void* address) const;

private:
  static constexpr unsigned kAddressBits = 47;
  static constexpr unsigned kUnitBits = 21;  // one entry for each 2 MiB
  static constexpr unsigned kLeafBits = 13;
  static constexpr size_t kLeaves = size_t{1} << (kAddressBits - kUnitBits - kLeafBits);
  using Leaf = std::array<PageSlab*, size_t{1} << kLeafBits>;

  static_assert(kHugePageBytes == size_t{1} << kUnitBits);

  static uintptr_t unitOf(const void* address) {
    return reinterpret_cast<uintptr_t>(address) >> kUnitBits;
  }
  void set(PageSlab* slab, PageSlab* value);

  std::array<Leaf*, kLeaves> leaves_{};  // made when first needed, never given back
};
