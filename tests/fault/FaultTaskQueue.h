#pragma once

#include "tests/fault/FaultState.h"

// FaultTaskQueue: a queue of the system below that may not take a task.
class FaultTaskQueue final : public iTaskQueue {
public:
  FaultTaskQueue(const Qv::Ptr<FaultState>& state, const Qv::Ptr<iTaskQueue>& inner)
      : state_(state), inner_(inner) {}

  bool post(const Qv::Ptr<iTask>& task) override {
    uint32_t error = state_->points().next(FaultCall::ePostTask).error;
    if (error == 0) return inner_->post(task);
    failFault(error);
    return false;
  }

private:
  Qv::Ptr<FaultState> state_;
  Qv::Ptr<iTaskQueue> inner_;
};
