#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>

#include "tests/fault/FaultCall.h"

// Fault: what is to go wrong.
struct Fault {
  // None: the call is one of any kind but the heap's.
  std::optional<FaultCall> call = std::nullopt;
  unsigned nth = 1;         // which call, from the moment of arming
  bool fromThenOn = false;  // that one alone, or with all that follow
  // 0: the error is the `pick`-th of those that Linux gives there, beginning again behind the last.
  uint32_t error = 0;
  unsigned pick = 0;
  // The transfer moves at most that many bytes first: a read then ends as at the end of the file
  // (with `error` 0) or fails; a write fails.
  std::optional<uint32_t> cutShort = std::nullopt;
};

// FaultPoints: counts the calls that can fail, and says which of them does.
// Story      A test arms one fault, does the one thing, disarms, and asks whether it struck. What a
//            thread does in a FaultPause is neither counted nor struck, so that a test's own calls
//            are none of the points.
// Threads    any. Allocates nothing.
// Units      calls count from 1.
class FaultPoints {
public:
  struct Verdict {
    uint32_t error = 0;
    std::optional<uint32_t> cutShort = std::nullopt;
    bool goesWell() const { return error == 0 && !cutShort; }
  };

  // Counts anew from here. At most one fault is armed.
  void arm(const Fault& fault);
  // Nothing is struck any more; the counts stay.
  void disarm();

  // Since arm(), or since the start.
  unsigned calls(FaultCall call) const;
  // Of all kinds but the heap's.
  unsigned calls() const;
  // How often the armed fault struck, and the kind that it struck last.
  unsigned fired() const;
  FaultCall lastFired() const;

  // For the layer: counts a call and says what is to go wrong with it.
  Verdict next(FaultCall call);

private:
  bool strikesLocked(FaultCall call) const;
  Verdict verdictLocked(FaultCall call) const;

  mutable std::mutex lock_;  // guards all of it
  std::optional<Fault> fault_;
  std::array<unsigned, kFaultCalls> calls_{};
  unsigned total_ = 0;
  unsigned fired_ = 0;
  FaultCall lastFired_ = FaultCall::eKinds;
};

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
