#pragma once

#include <cstddef>
#include <new>

#include "platform/OS.h"

// NativeAllocator: takes memory from the system's own heap, whatever stands behind OS(): what the
// fault layer notes for itself is not counted as anybody's.
template <typename T>
class NativeAllocator {
public:
  using value_type = T;

  NativeAllocator() = default;
  template <typename U>
  NativeAllocator(const NativeAllocator<U>&) {}

  T* allocate(size_t count) {
    void* memory = nativeOS()->getMemoryManager()->allocate(count * sizeof(T));
    if (!memory) throw std::bad_alloc();
    return static_cast<T*>(memory);
  }
  void deallocate(T* memory, size_t) { nativeOS()->getMemoryManager()->free(memory); }

  template <typename U>
  bool operator==(const NativeAllocator<U>&) const {
    return true;
  }
};
