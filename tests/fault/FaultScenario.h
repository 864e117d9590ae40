#pragma once

#include <ostream>
#include <vector>

#include "tests/fault/FaultTrial.h"

// FaultScenario: a short piece of the engine's work, one operation in the middle of it.
struct FaultScenario {
  using Part = void (*)(FaultTrial&);

  const char* name;
  Part prepare;  // not looked at; before the engine starts
  Part act;      // anything may fail
  Part again;    // on the files that are still open, nothing fails any more
};

// For the names of tests.
inline void PrintTo(const FaultScenario& scenario, std::ostream* out) { *out << scenario.name; }

// Every public operation of the engine.
const std::vector<FaultScenario>& faultScenarios();
