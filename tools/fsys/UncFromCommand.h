#pragma once

#include "tools/fsys/StorageCommand.h"

// UncFromCommand: fsys unc from NAME: where a network's name leads on this machine.
class UncFromCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  std::string name_;
};
