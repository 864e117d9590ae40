#pragma once

#include <atomic>
#include <new>

#include "platform/OS.h"
#include "tests/fault/FaultPoints.h"

// FaultHeap: the system's own heap, of which an allocation may be refused.
// Threads    any.
class FaultHeap final : public iMemoryManager {
public:
  explicit FaultHeap(FaultPoints& points) : points_(points) {}

  void* allocate(size_t bytes) override {
    return count(refuses() ? nullptr : own()->allocate(bytes));
  }
  void* allocateAligned(size_t bytes, size_t alignment) override {
    return count(refuses() ? nullptr : own()->allocateAligned(bytes, alignment));
  }
  void free(void* memory) override {
    live_ -= memory ? 1 : 0;
    own()->free(memory);
  }
  void freeAligned(void* memory) override {
    live_ -= memory ? 1 : 0;
    own()->freeAligned(memory);
  }

  // What was taken and not given back since the layer stands, by whomever; below zero when more of
  // what was there before has gone.
  long live() const { return live_; }

private:
  static iMemoryManager* own() { return nativeOS()->getMemoryManager(); }
  bool refuses() { return !points_.next(FaultCall::eAllocate).goesWell(); }
  void* count(void* memory) {
    live_ += memory ? 1 : 0;
    return memory;
  }

  FaultPoints& points_;
  std::atomic<long> live_{0};
};
