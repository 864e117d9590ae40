#pragma once

#include <array>
#include <cstdint>
#include <mutex>
#include <optional>

#include "tests/fault/Fault.h"
#include "tests/fault/FaultAim.h"
#include "tests/fault/FaultPause.h"

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
    uint32_t hold_ms = 0;
    bool goesWell() const { return error == 0 && !cutShort && hold_ms == 0; }
  };

  // Counts anew from here. At most one fault is armed.
  void arm(const Fault& fault);
  // Nothing is struck any more, and no aim is asked; the counts stay.
  void disarm();

  // Since arm(), or since the start.
  unsigned calls(FaultCall call) const;
  // Of all kinds but the heap's.
  unsigned calls() const;
  // How often the armed fault struck, and the kind that it struck last.
  unsigned fired() const;
  FaultCall lastFired() const;

  // For the layer: counts a call and says what is to go wrong with it.
  Verdict next(FaultCall call, const FaultPlace& place = {});

private:
  bool strikesLocked(FaultCall call, const FaultPlace& place);
  Verdict verdictLocked(FaultCall call) const;

  mutable std::mutex lock_;  // guards all of it
  std::optional<Fault> fault_;
  std::array<unsigned, kFaultCalls> calls_{};
  unsigned total_ = 0;
  unsigned meant_ = 0;  // by the aim of the armed fault
  unsigned fired_ = 0;
  FaultCall lastFired_ = FaultCall::eKinds;
};
