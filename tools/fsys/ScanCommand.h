#pragma once

#include <vector>

#include "tools/fsys/FolderCount.h"
#include "tools/fsys/StorageCommand.h"

// ScanCommand: fsys scan: what the catalogue found on the media drives.
class ScanCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  bool usesCatalogue() const override { return true; }
  ExitCode work() override;

private:
  void tellLeftOut(const std::vector<FolderCount>& folders);
  void tellStats();

  bool stats_ = false;
};
