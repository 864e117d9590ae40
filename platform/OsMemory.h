#pragma once

#include <cstddef>
#include <cstdint>

// iMemoryManager: the heap behind operator new. It works before main and after it.
// Threads    any. Never throws; null when there is no memory.
class iMemoryManager {
public:
  virtual void* allocate(size_t bytes) = 0;
  // `alignment` is a power of two.
  virtual void* allocateAligned(size_t bytes, size_t alignment) = 0;
  // Null is allowed.
  virtual void free(void* memory) = 0;
  virtual void freeAligned(void* memory) = 0;

protected:
  ~iMemoryManager() = default;
};

// Values of the virtual-memory service's arguments.
enum : unsigned {
  eVmReserveAndCommit = 0x3000,
  eVmReadWrite = 4,
  eVmDecommitAndRelease = 0xC000,
};

// iVirtualMemory: regions of whole pages.
// Story      A region is cut from larger slabs and goes back to them, so that memory that was used
//            is used again: that is what makes transfers fast.
// Threads    any; takes a short lock of its own.
// Ownership  the caller owns a region until it frees it.
// Units      bytes, rounded up to whole pages. The contents of a region are unspecified.
// Errors     null when there is no memory, or for other argument values than the ones above.
class iVirtualMemory {
public:
  // What all regions together are.
  struct Figures {
    uint64_t bytesInUse = 0;  // in regions now
    uint64_t bytesKept = 0;   // backed by the system and not in a region
    uint64_t keepLimit = 0;   // most of the above after the last region went
    bool hugePages = false;   // whether the last slab was advised onto huge pages
  };

  // `hint` must be null; `type` eVmReserveAndCommit; `protection` eVmReadWrite. 0 bytes: null.
  virtual void* allocate(void* hint, size_t bytes, unsigned type, unsigned protection) = 0;
  // `bytes` must be 0 and `type` eVmDecommitAndRelease. False for an address that is no region.
  virtual bool free(void* address, size_t bytes, unsigned type) = 0;
  virtual Figures figures() const = 0;

protected:
  ~iVirtualMemory() = default;
};
