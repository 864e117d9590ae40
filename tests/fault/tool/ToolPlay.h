#pragma once

#include <set>

#include "tests/fault/FaultPlay.h"
#include "tests/fault/tool/ToolScenario.h"

// ToolPlay: runs a command of the tool in this process. However it ends: the exit code is the one
// of that kind of failure, words say why, and what is left is right.
class ToolPlay final : public FaultPlay {
public:
  ToolPlay(const std::string& folder, const ToolScenario& scenario);

  std::string name() const override { return scenario_.name; }
  bool goesOn() const override { return false; }
  unsigned surely(std::optional<FaultCall> call, unsigned calls) const override;
  long keeps() const override { return scenario_.keeps; }
  FaultPlayed play(FaultLayer& layer, const Fault& fault, eUntil until) override;

private:
  std::string whyNotTold(const ToolRun& run) const;
  std::string whyNot(const ToolRun& run, const std::set<int>& codes, const std::string& left) const;

  ToolStage stage_;
  const ToolScenario& scenario_;
  std::vector<std::string> words_;
  std::string input_ = "/dev/null";
};
