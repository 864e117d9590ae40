#pragma once

#include "tests/fault/FaultAsyncIo.h"
#include "tests/fault/FaultFileManager.h"
#include "tests/fault/FaultVirtualMemory.h"
#include "tests/support/ForwardingOS.h"

// FileFaultLayer: as FaultLayer, for what goes on for long: files, transfers and regions can fail.
// The heap and the threads are those of the system below, as the library ships.
// Threads    any. Made and destroyed while nobody else uses the services.
// Ownership  as FaultLayer.
class FileFaultLayer final : public ForwardingOS {
public:
  iVirtualMemory* getVirtualMemory() override { return &memory_; }
  iFileManager* getFileManager() override { return &files_; }
  iAsyncIo* getAsyncIo() override { return &asyncIo_; }

  FaultPoints& points() { return state_->points(); }

private:
  Qv::Ptr<FaultState> state_{new FaultState};
  FaultVirtualMemory memory_{state_, *inner()};
  FaultFileManager files_{state_, *inner()};
  FaultAsyncIo asyncIo_{state_, *inner()};
};
