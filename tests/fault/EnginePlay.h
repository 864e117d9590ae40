#pragma once

#include "tests/fault/FaultPlay.h"
#include "tests/fault/FaultScenario.h"

// EnginePlay: plays a scenario of the engine. Behind it the engine must work as if nothing had
// been.
class EnginePlay final : public FaultPlay {
public:
  EnginePlay(const FaultTrial::Text& folder, const FaultScenario& scenario)
      : folder_(folder), scenario_(scenario) {}

  std::string name() const override { return scenario_.name; }
  bool goesOn() const override { return true; }
  FaultPlayed play(FaultLayer& layer, const Fault& fault, eUntil until) override;

private:
  const FaultTrial::Text folder_;
  const FaultScenario& scenario_;
};
