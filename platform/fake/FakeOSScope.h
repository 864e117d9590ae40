#pragma once

#include "platform/fake/FakeOS.h"

// FakeOSScope: puts a fresh FakeOS behind OS() for a scope.
class FakeOSScope {
public:
  FakeOSScope() : before_(swapOS(&os_)) {}
  ~FakeOSScope() {
    os_.letGo();
    swapOS(before_);
  }
  FakeOSScope(const FakeOSScope&) = delete;
  FakeOSScope& operator=(const FakeOSScope&) = delete;

  FakeOS* operator->() { return &os_; }
  FakeOS& operator*() { return os_; }

private:
  FakeOS os_;
  iOS* before_;
};
