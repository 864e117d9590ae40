#pragma once

#include "tests/fault/FaultState.h"

// FaultVirtualMemory: the regions of the system below, of which one may be refused.
class FaultVirtualMemory final : public iVirtualMemory {
public:
  FaultVirtualMemory(const Qv::Ptr<FaultState>& state, iOS& inner) : state_(state), inner_(inner) {}

  void* allocate(void* hint, size_t bytes, unsigned type, unsigned protection) override {
    uint32_t error = state_->points()
                         .next(FaultCall::eAllocateRegion, {.bytes = static_cast<uint32_t>(bytes)})
                         .error;
    if (error == 0) return inner_.getVirtualMemory()->allocate(hint, bytes, type, protection);
    failFault(error);
    return nullptr;
  }
  bool free(void* address, size_t bytes, unsigned type) override {
    return inner_.getVirtualMemory()->free(address, bytes, type);
  }
  Figures figures() const override { return inner_.getVirtualMemory()->figures(); }

private:
  Qv::Ptr<FaultState> state_;
  iOS& inner_;
};
