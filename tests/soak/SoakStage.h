#pragma once

#include <string>

#include "tests/soak/Findings.h"
#include "tests/soak/MachineWatch.h"
#include "tests/soak/SoakClock.h"
#include "tests/soak/SoakHouse.h"
#include "tests/soak/SoakTally.h"
#include "tests/soak/Turn.h"

// SoakStage: what everybody who takes part in a soak shares.
// Ownership  refers to what outlives them all.
struct SoakStage {
  SoakClock& clock;
  Findings& findings;
  SoakHouse& house;
  SoakTally& tally;
  const MachineWatch& machine;
  bool judgesLateness = true;

  // What was asked for at one time and stands so when its time has come is counted, and found if
  // nothing excuses it.
  void judge(const std::string& what, bool isThere, bool isHit, double asked_ms,
             double due_ms) const {
    const double stalled_ms = isThere ? 0 : machine.stalled_ms(asked_ms, due_ms);
    const eTurn verdict = judgeTurn(isThere, isHit, stalled_ms);
    ++tally.turn(verdict);
    if (verdict == eTurn::eLate && judgesLateness)
      findings.add(what + " is late: it was asked for " +
                   std::to_string(static_cast<int>(due_ms - asked_ms)) + " ms before");
  }
};
