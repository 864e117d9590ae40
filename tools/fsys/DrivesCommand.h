#pragma once

#include <string>
#include <vector>

#include "tools/fsys/DriveReport.h"
#include "tools/fsys/StorageCommand.h"

// DrivesCommand: fsys drives: every drive that is mounted, and why it is or is no media drive.
class DrivesCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  using Entries = std::vector<DriveEntry>;

  Entries look();
  void watch(Entries known);
  void restartRegistry();
  void tellChanges(const Entries& before, const Entries& after) const;
  void tellChange(const char* change, const DriveEntry& entry) const;

  bool all_ = false;
  bool watch_ = false;
  // Of the drives and the lists, as the registry was started last; none for the first start.
  std::vector<std::string> facts_;
};
