#pragma once

#include "tools/fsys/StorageCommand.h"

// ScanCommand: fsys scan: what the catalogue found on the media drives.
class ScanCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  void tellMissing();
  void tellStats();

  bool stats_ = false;
};
