#pragma once

#include "platform/OsErrors.h"

// FakeErrors: the last error. Each hand-run thread, task and completion has its own while it runs,
// and so has each real thread that calls the fake.
class FakeErrors final : public iOsErrors {
public:
  FakeErrors() { last_ = 0; }

  uint32_t getLastError() const override { return last_; }
  void setLastError(uint32_t error) override { last_ = error; }
  std::string describe(uint32_t error) const override;

  // Records a failure and answers it.
  uint32_t fail(uint32_t error) {
    last_ = error;
    return error;
  }

private:
  inline static thread_local uint32_t last_ = 0;
};

// A scope with a last error of its own, as on another thread.
class FakeErrorsOfAnotherThread {
public:
  explicit FakeErrorsOfAnotherThread(FakeErrors& errors)
      : errors_(errors), before_(errors.getLastError()) {
    errors_.setLastError(0);
  }
  ~FakeErrorsOfAnotherThread() { errors_.setLastError(before_); }
  FakeErrorsOfAnotherThread(const FakeErrorsOfAnotherThread&) = delete;
  FakeErrorsOfAnotherThread& operator=(const FakeErrorsOfAnotherThread&) = delete;

private:
  FakeErrors& errors_;
  uint32_t before_;
};
