#pragma once

#include <atomic>
#include <cstdint>
#include <new>

#include "tests/support/ForwardingOS.h"

// CountingHeap: counts what is asked of the heap for a scope.
// Story      Make it once everything is warm, do the one thing, and read the count before anything
//            else is said; live() tells what of it was kept. Under a sanitizer the sanitizer's own
//            operators may stand where the library's would: then nothing is seen, and the test is
//            skipped.
class CountingHeap final : public ForwardingOS {
public:
  CountingHeap() {
    ::operator delete(::operator new(1));
    seesAllocations_ = memory_.count.exchange(0) != 0;
    memory_.live.store(0);
  }
  iMemoryManager* getMemoryManager() override { return &memory_; }

  bool seesAllocations() const { return seesAllocations_; }
  unsigned allocations() const { return memory_.count.load(); }
  // How many there are more than at its making; below 0 when there are fewer.
  int64_t live() const { return memory_.live.load(); }

private:
  class Memory final : public iMemoryManager {
  public:
    void* allocate(size_t bytes) override {
      ++count;
      ++live;
      return nativeOS()->getMemoryManager()->allocate(bytes);
    }
    void* allocateAligned(size_t bytes, size_t alignment) override {
      ++count;
      ++live;
      return nativeOS()->getMemoryManager()->allocateAligned(bytes, alignment);
    }
    void free(void* memory) override {
      live -= memory != nullptr;
      nativeOS()->getMemoryManager()->free(memory);
    }
    void freeAligned(void* memory) override {
      live -= memory != nullptr;
      nativeOS()->getMemoryManager()->freeAligned(memory);
    }

    std::atomic<unsigned> count{0};
    std::atomic<int64_t> live{0};
  };

  Memory memory_;
  bool seesAllocations_;
};
