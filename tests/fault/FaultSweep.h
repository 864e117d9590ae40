#pragma once

#include <map>
#include <optional>
#include <string>

#include "tests/fault/FaultScenario.h"
#include "tests/fault/Leftovers.h"

// FaultSweep: plays a scenario again and again, each time with one fault further on, until there is
// none left that could strike.
// Story      First the scenario is played without a fault, to see that it goes well and how many
//            calls of each kind it makes. Then every kind is swept: the first call fails, the
//            second, and so on. After each play everything is judged and nothing may be left, and
//            the engine must work as if nothing had been.
// Units      a point is one play with one fault that struck.
// Errors     findings: what was not as promised, by point; also a fault that never struck although
//            the scenario makes that many calls.
class FaultSweep {
public:
  using Text = LightweightString<wchar_t>;

  // Of the error numbers, lengths and spans of each point, either all or, one after another, one.
  enum eDepth { eAll, eOneOfEach };

  // `countsHeap`: whether what is below the layer keeps nothing on the heap for its own records.
  FaultSweep(FaultLayer& layer, const Text& folder, const FaultScenario& scenario, eDepth depth,
             bool countsHeap);

  // The services' calls, by kind and of any kind.
  void sweepCalls();
  // The heap's.
  void sweepAllocations();

  // Empty when all was well.
  const std::string& findings() const { return findings_; }
  // The points that were tried, in words.
  std::string points() const;

private:
  // When the fault is over: with the scenario's operation, or not before all is closed.
  enum eUntil { eOperation, eClosed };

  void measure();
  void noteCalls();
  void sweep(std::optional<FaultCall> call);
  bool sweepPoint(const Fault& point, bool mustStrike);
  bool play(const Fault& fault, eUntil until);
  bool playOnce(const Fault& fault, eUntil until, std::string& wrong);
  void recover(FaultTrial& trial);
  void found(const Fault& fault, eUntil until, const std::string& what);

  FaultLayer& layer_;
  const Text folder_;
  const FaultScenario& scenario_;
  const eDepth depth_;
  const bool countsHeap_;
  std::map<std::optional<FaultCall>, unsigned> played_;  // calls of the last play
  std::map<std::optional<FaultCall>, unsigned> made_;    // the fewest of plays without a fault
  std::map<std::optional<FaultCall>, unsigned> points_;
  std::string findings_;
  unsigned turn_ = 0;
};
