#pragma once

#include <string>

#include "platform/OsThreads.h"

class FakeThreads;

// FakeTaskQueue: its tasks wait in the fake's one list until the world runs them.
class FakeTaskQueue final : public iTaskQueue {
public:
  FakeTaskQueue(FakeThreads& threads, const char* name, unsigned count);
  ~FakeTaskQueue() override;

  bool post(const Qv::Ptr<iTask>& task) override;

private:
  FakeThreads& threads_;
};
