#pragma once

#include <map>
#include <optional>
#include <string>

#include "tests/fault/FaultPlay.h"
#include "tests/fault/Leftovers.h"

// FaultSweep: has something played again and again, each time with one fault further on, until
// there is none left that could strike.
// Story      First it is played without a fault, to see that it goes well and how many calls of
//            each kind it makes. Then every kind is swept: the first call fails, the second, and so
//            on. After each play everything is judged and nothing may be left.
// Units      a point is one play with one fault that struck.
// Errors     findings: what was not as promised, by point; also a fault that never struck although
//            that many calls are made.
class FaultSweep {
public:
  // Of the error numbers, lengths and spans of each point, either all or, one after another, one.
  enum eDepth { eAll, eOneOfEach };

  // `countsHeap`: whether what is below the layer keeps nothing on the heap for its own records.
  FaultSweep(FaultLayer& layer, FaultPlay& play, eDepth depth, bool countsHeap);

  // Of each kind only every so many calls.
  void setStep(unsigned step) { step_ = step; }

  // The services' calls, by kind and of any kind.
  void sweepCalls();
  // The same without those by kind.
  void sweepAnyCall();
  // The heap's.
  void sweepAllocations();

  // Empty when all was well.
  const std::string& findings() const { return findings_; }
  // The points that were tried, in words.
  std::string points() const;

private:
  void warmUp();
  void measure();
  // As it is measured now.
  bool stillMakes(std::optional<FaultCall> call, unsigned calls);
  void sweep(std::optional<FaultCall> call);
  bool sweepPoint(const Fault& point, bool mustStrike);
  bool play(const Fault& fault, FaultPlay::eUntil until);
  void found(const Fault& fault, FaultPlay::eUntil until, const std::string& what);

  FaultLayer& layer_;
  FaultPlay& played_;
  const eDepth depth_;
  const bool countsHeap_;
  unsigned step_ = 1;
  FaultPlayed last_;
  std::map<std::optional<FaultCall>, unsigned> made_;  // at the least, without a fault
  std::map<std::optional<FaultCall>, unsigned> points_;
  std::string findings_;
  unsigned turn_ = 0;
};
