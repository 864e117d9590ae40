#pragma once

#include <memory>

#include "platform/fake/FakeAsyncIo.h"

// FakePort: a port of the fake. When it goes, nothing is reported to it any more.
class FakePort final : public iCompletionPort {
public:
  explicit FakePort(std::shared_ptr<FakePortState> state) : state_(std::move(state)) {}
  ~FakePort() override {
    state_->alive = false;
    state_->command = CompletionCommand();
  }

  const std::shared_ptr<FakePortState>& state() const { return state_; }

private:
  std::shared_ptr<FakePortState> state_;
};
