#pragma once

#include "tests/fault/FaultHeap.h"
#include "tests/fault/FaultState.h"

// FaultCore: what stands before the layer takes its place, since the heap is asked from then on.
class FaultCore {
protected:
  Qv::Ptr<FaultState> state_{new FaultState};
  FaultHeap heap_{state_->points()};
};
