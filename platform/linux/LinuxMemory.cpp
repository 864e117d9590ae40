#include "platform/linux/LinuxMemory.h"

#include <algorithm>
#include <cstdlib>

#ifdef FSYS_ALLOCATOR_TBB
#include <tbb/scalable_allocator.h>
#endif

namespace {

// An allocation of no bytes is still an object of its own.
constexpr size_t atLeastOne(size_t bytes) { return std::max<size_t>(bytes, 1); }
// The allocators want no less.
constexpr size_t usable(size_t alignment) { return std::max(alignment, sizeof(void*)); }

// LinuxMemory: oneTBB's allocator, or the C library's where sanitizers watch the heap.
class LinuxMemory final : public iMemoryManager {
public:
  constexpr LinuxMemory() = default;

#ifdef FSYS_ALLOCATOR_TBB
  void* allocate(size_t bytes) override { return scalable_malloc(atLeastOne(bytes)); }
  void* allocateAligned(size_t bytes, size_t alignment) override {
    return scalable_aligned_malloc(atLeastOne(bytes), usable(alignment));
  }
  void free(void* memory) override { scalable_free(memory); }
  void freeAligned(void* memory) override { scalable_aligned_free(memory); }
#else
  void* allocate(size_t bytes) override { return std::malloc(atLeastOne(bytes)); }
  void* allocateAligned(size_t bytes, size_t alignment) override {
    void* memory = nullptr;
    return posix_memalign(&memory, usable(alignment), atLeastOne(bytes)) == 0 ? memory : nullptr;
  }
  void free(void* memory) override { std::free(memory); }
  void freeAligned(void* memory) override { std::free(memory); }
#endif
};

constinit LinuxMemory theMemory;

}  // namespace

iMemoryManager* linuxMemoryManager() { return &theMemory; }
