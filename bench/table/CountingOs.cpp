#include "bench/table/CountingOs.h"

namespace {

thread_local uint64_t askedOfHeap = 0;
thread_local uint64_t askedOfRegions = 0;

iMemoryManager* heap() { return nativeOS()->getMemoryManager(); }
iVirtualMemory* regions() { return nativeOS()->getVirtualMemory(); }

}  // namespace

uint64_t CountingOs::onThisThread() { return askedOfHeap + askedOfRegions; }

uint64_t CountingOs::heapOnThisThread() { return askedOfHeap; }

void* CountingOs::Heap::allocate(size_t bytes) {
  ++askedOfHeap;
  return heap()->allocate(bytes);
}

void* CountingOs::Heap::allocateAligned(size_t bytes, size_t alignment) {
  ++askedOfHeap;
  return heap()->allocateAligned(bytes, alignment);
}

void CountingOs::Heap::free(void* memory) { heap()->free(memory); }

void CountingOs::Heap::freeAligned(void* memory) { heap()->freeAligned(memory); }

void* CountingOs::Regions::allocate(void* hint, size_t bytes, unsigned type, unsigned protection) {
  ++askedOfRegions;
  return regions()->allocate(hint, bytes, type, protection);
}

bool CountingOs::Regions::free(void* address, size_t bytes, unsigned type) {
  return regions()->free(address, bytes, type);
}

iVirtualMemory::Figures CountingOs::Regions::figures() const { return regions()->figures(); }
