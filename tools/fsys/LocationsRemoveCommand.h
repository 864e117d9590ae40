#pragma once

#include "tools/fsys/StorageCommand.h"

// LocationsRemoveCommand: fsys locations remove PATH: forgets a location, or leaves out a drive
// that is found without it. Media stays where it is.
class LocationsRemoveCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  bool changesLists() const override { return true; }
  ExitCode work() override;

private:
  void settleLists(const PathString& path, bool wasFound);

  std::string path_;
};
