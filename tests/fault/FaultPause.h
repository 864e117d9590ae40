#pragma once

// FaultPause: what this thread does in the scope is left alone.
class FaultPause {
public:
  FaultPause() { ++depth_; }
  ~FaultPause() { --depth_; }
  FaultPause(const FaultPause&) = delete;
  FaultPause& operator=(const FaultPause&) = delete;
  static bool active() { return depth_ > 0; }

private:
  friend class FaultWatch;
  static thread_local int depth_;
};

// FaultWatch: within a FaultPause, a scope that is looked at all the same.
class FaultWatch {
public:
  FaultWatch() : depth_(FaultPause::depth_) { FaultPause::depth_ = 0; }
  ~FaultWatch() { FaultPause::depth_ = depth_; }
  FaultWatch(const FaultWatch&) = delete;
  FaultWatch& operator=(const FaultWatch&) = delete;

private:
  int depth_;
};
