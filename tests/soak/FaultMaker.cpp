#include "tests/soak/FaultMaker.h"

#include <string>

namespace {

constexpr uint32_t kShortest_ms = 1000, kLongest_ms = 3000;  // between two faults
constexpr double kLook_ms = 10;
// A recorder may be in the middle of a shot when something is to go wrong at its beginning.
constexpr double kComesBy_ms = 60'000;
constexpr double kTold_ms = 30'000;

}  // namespace

void FaultMaker::run() {
  while (stage_.clock.waitFor(dice_.between(kShortest_ms, kLongest_ms))) {
    const SoakFault kind = nextKind();
    if (SoakVictim* victim = victimOf(kind)) make(kind, *victim);
  }
}

SoakFault FaultMaker::nextKind() {
  if (left_.empty())
    for (size_t kind = 0; kind < kSoakFaults; ++kind) left_.push_back(static_cast<SoakFault>(kind));
  const auto at = left_.begin() + dice_.below(static_cast<uint32_t>(left_.size()));
  const SoakFault kind = *at;
  left_.erase(at);
  return kind;
}

SoakVictim* FaultMaker::victimOf(SoakFault kind) {
  std::vector<SoakVictim*> all;
  for (SoakVictim* victim : victims_)
    if (victim->mayMeet(kind)) all.push_back(victim);
  return all.empty() ? nullptr : all[dice_.below(static_cast<uint32_t>(all.size()))];
}

void FaultMaker::make(SoakFault kind, SoakVictim& victim) {
  Fault fault = makeFault(kind, victim.transferBytes(), dice_);
  fault.aim = &victim;
  victim.expect(kind, fault);
  layer_.points().arm(fault);
  double end_ms = stage_.clock.now_ms() + kComesBy_ms;
  while (!victim.isStruck() && stage_.clock.now_ms() < end_ms && stage_.clock.waitFor(kLook_ms)) {
  }
  end_ms = stage_.clock.now_ms() + kTold_ms;
  bool isOver = victim.isOver();
  while (victim.isStruck() && !isOver && stage_.clock.now_ms() < end_ms &&
         stage_.clock.waitFor(kLook_ms))
    isOver = victim.isOver();
  layer_.points().disarm();
  if (!victim.isStruck())
    ++stage_.tally.missed;
  else if (!isOver && !stage_.clock.isOver())
    stage_.findings.add(victim.name() + ": " + soakFaultName(kind) + ", and nobody was told");
  if (victim.isStruck()) ++stage_.tally.struck[static_cast<size_t>(kind)];
  victim.settle();
}
