#pragma once

#include <atomic>
#include <functional>
#include <utility>

#include "platform/OsThreads.h"

// TestErrand: an errand that calls a function, and counts when it goes.
class TestErrand final : public iTask {
public:
  explicit TestErrand(std::function<void()> work, std::atomic<int>* gone = nullptr)
      : work_(std::move(work)), gone_(gone) {}
  ~TestErrand() override {
    if (gone_) ++*gone_;
  }
  void run() override { work_(); }

  static Qv::Ptr<iTask> of(std::function<void()> work, std::atomic<int>* gone = nullptr) {
    return Qv::Ptr<iTask>(new TestErrand(std::move(work), gone));
  }

private:
  std::function<void()> work_;
  std::atomic<int>* gone_;
};
