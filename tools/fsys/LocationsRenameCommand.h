#pragma once

#include "fsys/DriveId.h"
#include "tools/fsys/StorageCommand.h"

// LocationsRenameCommand: fsys locations rename DRIVE NAME: the name travels with the drive.
class LocationsRenameCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  bool isKept(DriveId id) const;

  std::string drive_;
  std::string name_;
};
