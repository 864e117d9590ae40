#pragma once

#include "tests/fault/FaultAsyncIo.h"
#include "tests/fault/FaultCore.h"
#include "tests/fault/FaultFileManager.h"
#include "tests/fault/FaultThreads.h"
#include "tests/fault/FaultVirtualMemory.h"
#include "tests/support/ForwardingOS.h"

// FaultLayer: puts itself behind OS() for a scope, over what stood there. It passes everything on,
// counts every call that can fail, and has the n-th of any kind, or of one kind, fail as Linux
// would have it.
// Story      A transfer can also be cut short (Fault). Below OS() interrupted and short system
//            calls are continued, so what is seen here is what cannot be continued: a read that
//            met the end of the file, a transfer that failed on its way.
//
//              FaultLayer layer;
//              layer.points().arm({.call = FaultCall::eStartRead, .nth = 3});
//              ...                                      the third start of a read is refused
//              layer.points().disarm();
//              EXPECT_EQ(layer.points().fired(), 1u);
//
// Threads    any. Made and destroyed while nobody else uses the services.
// Ownership  files, queues and commands that it gave out may outlive it.
class FaultLayer final : private FaultCore, public ForwardingOS {
public:
  FaultLayer()
      : memory_(state_, *inner()),
        threads_(state_, *inner()),
        files_(state_, *inner()),
        asyncIo_(state_, *inner()) {}

  iMemoryManager* getMemoryManager() override { return &heap_; }
  iVirtualMemory* getVirtualMemory() override { return &memory_; }
  iThreads* getThreads() override { return &threads_; }
  iFileManager* getFileManager() override { return &files_; }
  iAsyncIo* getAsyncIo() override { return &asyncIo_; }

  FaultPoints& points() { return state_->points(); }
  const FaultHeap& heap() const { return heap_; }
  // Whether new and delete come here: a sanitizer's own operators may stand where the library's
  // would.
  bool seesAllocations();

private:
  FaultVirtualMemory memory_;
  FaultThreads threads_;
  FaultFileManager files_;
  FaultAsyncIo asyncIo_;
};
