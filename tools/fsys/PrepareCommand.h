#pragma once

#include "fsys/DriveId.h"
#include "tools/fsys/StorageCommand.h"

// PrepareCommand: fsys prepare PATH|DRIVE: makes the media folders where they are missing.
class PrepareCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  DriveId driveFor();

  std::string place_;
  bool isRegistered_ = true;
};
