#pragma once

#include <cstddef>
#include <new>

#include "platform/PlatformExport.h"

// Memory for short arrays, from a pool that grows to what is used at once and allocates nothing
// after that: lists of one or two entries are made and dropped at every transfer.
// Threads    any; no lock.

// The longest array that is a short one.
constexpr size_t kShortArray_bytes = 32;
// Memory for one of them. Throws std::bad_alloc.
PLATFORM_EXPORT void* takeShortArray();
// Takes it back.
PLATFORM_EXPORT void giveShortArray(void* memory) noexcept;

// ArrayMemory: where a Vector's entries lie: short arrays in that pool, longer ones on the heap.
template <typename T>
struct ArrayMemory {
  using value_type = T;

  ArrayMemory() = default;
  template <typename U>
  ArrayMemory(const ArrayMemory<U>&) {}  // NOLINT(google-explicit-constructor): an allocator's own

  T* allocate(size_t count) {
    if (isShort(count)) return static_cast<T*>(takeShortArray());
    if (count > static_cast<size_t>(-1) / kEntry_bytes) throw std::bad_array_new_length();
    return static_cast<T*>(::operator new(count * kEntry_bytes));
  }
  void deallocate(T* memory, size_t count) {
    if (isShort(count)) return giveShortArray(static_cast<void*>(memory));
    ::operator delete(static_cast<void*>(memory));
  }
  bool operator==(const ArrayMemory&) const { return true; }

private:
  static_assert(alignof(T) <= alignof(std::max_align_t));
  static constexpr size_t kEntry_bytes = sizeof(T);  // NOLINT(bugprone-sizeof-expression)
  static bool isShort(size_t count) { return count <= kShortArray_bytes / kEntry_bytes; }
};
