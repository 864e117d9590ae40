#pragma once

#include "tools/fsys/StorageCommand.h"

// BestCommand: fsys best: the drive for a job of known size.
class BestCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  double need_mib_ = 0;
  std::string match_;
};
