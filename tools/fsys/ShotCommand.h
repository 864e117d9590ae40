#pragma once

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/StorageCommand.h"

// ShotCommand: fsys shot COOKIE: the files of all channels of a shot, and their size.
class ShotCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  bool usesCatalogue() const override { return true; }
  ExitCode work() override;

private:
  // The bytes that it adds to the shot's.
  uint64_t tell(Table& table, const Cookie& channel, FsysDirectoryEntry& entry);

  std::string cookie_;
};
