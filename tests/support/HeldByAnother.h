#pragma once

#include <future>
#include <thread>

#include "platform/CriticalSection.h"

// HeldByAnother: another thread holds a lock for a scope.
class HeldByAnother {
public:
  explicit HeldByAnother(CriticalSection& section) {
    std::promise<void> held;
    thread_ = std::thread([this, &section, &held] {
      CriticalSectionLock lock(section);
      held.set_value();
      over_.get_future().wait();
    });
    held.get_future().wait();
  }
  ~HeldByAnother() {
    over_.set_value();
    thread_.join();
  }
  HeldByAnother(const HeldByAnother&) = delete;
  HeldByAnother& operator=(const HeldByAnother&) = delete;

private:
  std::promise<void> over_;
  std::thread thread_;
};
