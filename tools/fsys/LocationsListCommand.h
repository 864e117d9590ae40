#pragma once

#include "tools/fsys/StorageCommand.h"

// LocationsListCommand: fsys locations list: what is registered, missing and unmounted.
class LocationsListCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  void tellDrives(Table& table);
  void tellPath(Table& table, const PathString& path, const char* state);
};
