#pragma once

#include <array>
#include <optional>
#include <string>

#include "tests/fault/FaultLayer.h"

// FaultPlayed: how a play went.
struct FaultPlayed {
  std::array<unsigned, kFaultCalls> calls{};  // of each kind, while there could be a fault
  unsigned allCalls = 0;                      // of any kind but the heap's
  bool struck = false;
  std::string wrong;  // what was not as promised; empty when all was

  // Once the fault is over.
  void note(const FaultPoints& points) {
    for (FaultCall call : everyFaultCall()) calls[static_cast<size_t>(call)] = points.calls(call);
    allCalls = points.calls();
    struck = points.fired() > 0;
  }
  unsigned callsOf(std::optional<FaultCall> call) const {
    return call ? calls[static_cast<size_t>(*call)] : allCalls;
  }
};

// FaultPlay: what a sweep has done again and again: one thing that anything may befall.
// Ownership  what it makes it takes away again: nothing may be left.
class FaultPlay {
public:
  // When the fault is over: with the operation in its middle, or not before all is closed.
  enum eUntil { eOperation, eClosed };

  virtual ~FaultPlay() = default;
  virtual std::string name() const = 0;
  // Whether it goes on behind its operation.
  virtual bool goesOn() const = 0;
  // Of the calls of a kind that a play without a fault made, those that each play makes: some
  // depend on the time that things take.
  virtual unsigned surely(std::optional<FaultCall>, unsigned calls) const { return calls; }
  // Pieces of the heap that a play may keep for good.
  virtual long keeps() const { return 0; }
  // Arms the fault, does the thing, disarms and judges. What this thread does is not looked at
  // unless a FaultWatch says so.
  virtual FaultPlayed play(FaultLayer& layer, const Fault& fault, eUntil until) = 0;
};
