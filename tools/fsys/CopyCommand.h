#pragma once

#include <vector>

#include "tools/fsys/Command.h"

// CopyCommand: fsys copy SRC... DST: copies files through the engine.
class CopyCommand : public Command {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  void tell(const std::vector<std::string>& made, uint64_t bytes, const Meter& meter);

  std::vector<std::string> names_;
  uint64_t block_ = 0;
  unsigned inFlight_ = 0;
  bool force_ = false;
};
