#pragma once

#include "tools/fsys/StorageCommand.h"

// LocationsAddCommand: fsys locations add PATH: registers a location.
class LocationsAddCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  bool changesLists() const override { return true; }
  ExitCode work() override;

private:
  void refuse(const PathString& path) const;
  void settleLists(const PathString& path, bool isFoundAgain);

  std::string path_;
};
