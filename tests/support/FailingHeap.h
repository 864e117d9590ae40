#pragma once

#include <new>

#include "tests/support/ForwardingOS.h"

// FailingHeap: a heap that finds no memory when a test says so, for a scope.
// Story      refuse() names the allocation that fails; letBe() ends that, and says whether it came.
// Threads    one. Where a sanitizer's own operators stand nothing is ever asked: see isAsked.
class FailingHeap final : public ForwardingOS, private iMemoryManager {
public:
  iMemoryManager* getMemoryManager() override { return this; }

  // Whether new and delete come here.
  bool isAsked() {
    int before = allocations_;
    ::operator delete(::operator new(1));
    return allocations_ != before;
  }
  // The allocation after `nth` others fails; `once`, or with all that follow.
  void refuse(int nth, bool once) {
    nth_ = nth;
    once_ = once;
    struck_ = false;
    live_ = 0;
    allocations_ = 0;
  }
  // Whether one was refused. Counts anew.
  bool letBe() {
    nth_ = kNever;
    allocations_ = 0;
    return struck_;
  }
  // Since refuse() or letBe().
  int allocations() const { return allocations_; }
  // What was taken since the last refuse() and not given back.
  int live() const { return live_; }

private:
  static constexpr int kNever = -1;

  static iMemoryManager* own() { return nativeOS()->getMemoryManager(); }
  bool refuses() {
    int number = allocations_++;
    bool refused = nth_ != kNever && (once_ ? number == nth_ : number >= nth_);
    struck_ |= refused;
    live_ += refused ? 0 : 1;
    return refused;
  }
  void* allocate(size_t bytes) override { return refuses() ? nullptr : own()->allocate(bytes); }
  void* allocateAligned(size_t bytes, size_t alignment) override {
    return refuses() ? nullptr : own()->allocateAligned(bytes, alignment);
  }
  void free(void* memory) override {
    live_ -= memory ? 1 : 0;
    own()->free(memory);
  }
  void freeAligned(void* memory) override {
    live_ -= memory ? 1 : 0;
    own()->freeAligned(memory);
  }

  int nth_ = kNever;
  bool once_ = true;
  bool struck_ = false;
  int allocations_ = 0;
  int live_ = 0;
};
