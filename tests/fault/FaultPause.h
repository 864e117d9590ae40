#pragma once

// FaultPause: what this thread does in the scope is left alone.
class FaultPause {
public:
  FaultPause();
  ~FaultPause();
  FaultPause(const FaultPause&) = delete;
  FaultPause& operator=(const FaultPause&) = delete;
  static bool active();
};

// FaultWatch: within a FaultPause, a scope that is looked at all the same.
class FaultWatch {
public:
  FaultWatch();
  ~FaultWatch();
  FaultWatch(const FaultWatch&) = delete;
  FaultWatch& operator=(const FaultWatch&) = delete;

private:
  int depth_;
};
