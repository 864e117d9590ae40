#pragma once

#include <memory>

#include "platform/fake/FakeAsyncIo.h"

// FakePort: a port of the fake. When it goes, nothing is reported to it any more.
class FakePort final : public iCompletionPort {
public:
  FakePort(FakeAsyncIo& asyncIo, std::shared_ptr<FakePortState> state)
      : asyncIo_(asyncIo), state_(std::move(state)) {}
  ~FakePort() override {
    asyncIo_.endPort(*state_);
    state_->alive = false;
    state_->command = CompletionCommand();
  }

  void setErrand(const Qv::Ptr<iTask>& errand) override { state_->errand = errand; }
  bool sendOnErrand() override {
    state_->isAsked |= asyncIo_.takesErrands();
    return state_->isAsked;
  }

  const std::shared_ptr<FakePortState>& state() const { return state_; }

private:
  FakeAsyncIo& asyncIo_;
  std::shared_ptr<FakePortState> state_;
};
