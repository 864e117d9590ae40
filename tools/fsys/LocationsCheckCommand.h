#pragma once

#include "tools/fsys/StorageCommand.h"

// LocationsCheckCommand: fsys locations check: whether what the lists name can be used.
class LocationsCheckCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  // Whether media can be recorded there now.
  bool check(Table& table, const PathString& path, const char* list);
};
