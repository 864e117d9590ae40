#pragma once

#include <functional>
#include <utility>

#include "platform/Notifier.h"

// NotifyListener: hands notifications on, until it is told to stop: who once listens to the
// registry stays on its list.
// Threads    those that issue; stop: while none does.
class NotifyListener final : public iCallbackBase<int, NotifyMsg> {
public:
  using Take = std::function<void(const NotifyMsg& message)>;

  explicit NotifyListener(Take take) : take_(std::move(take)) {}
  int callback(NotifyMsg message) override {
    if (take_) take_(message);
    return 0;
  }
  void stop() { take_ = nullptr; }

private:
  Take take_;
};
