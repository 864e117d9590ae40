#pragma once

#include "tools/fsys/StorageCommand.h"

// UncToCommand: fsys unc to PATH: by what name other machines know a path.
class UncToCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  std::string path_;
};
