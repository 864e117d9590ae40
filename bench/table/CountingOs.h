#pragma once

#include <atomic>
#include <cstdint>

#include "platform/OS.h"

// CountingOs: the system's services, with every allocation counted for the thread that asks.
// Story      Put behind the door before the engine starts; memory goes to and comes from the
//            system's own heap, so it may cross the change.
// Threads    any.
class CountingOs final : public iOS {
public:
  // Allocations and regions that this thread has asked for.
  static uint64_t onThisThread();
  // Of them, what was not a buffer: no region.
  static uint64_t heapOnThisThread();

  iMemoryManager* getMemoryManager() override { return &heap_; }
  iVirtualMemory* getVirtualMemory() override { return &regions_; }
  iThreads* getThreads() override { return nativeOS()->getThreads(); }
  iClock* getClock() override { return nativeOS()->getClock(); }
  iFileManager* getFileManager() override { return nativeOS()->getFileManager(); }
  iAsyncIo* getAsyncIo() override { return nativeOS()->getAsyncIo(); }
  iSystemInfo* getSystemInfo() override { return nativeOS()->getSystemInfo(); }
  iOsErrors* getErrors() override { return nativeOS()->getErrors(); }

private:
  class Heap final : public iMemoryManager {
  public:
    void* allocate(size_t bytes) override;
    void* allocateAligned(size_t bytes, size_t alignment) override;
    void free(void* memory) override;
    void freeAligned(void* memory) override;
  };
  class Regions final : public iVirtualMemory {
  public:
    void* allocate(void* hint, size_t bytes, unsigned type, unsigned protection) override;
    bool free(void* address, size_t bytes, unsigned type) override;
    Figures figures() const override;
  };

  Heap heap_;
  Regions regions_;
};
