#pragma once

#include <cstdint>
#include <optional>

#include "tools/fsys/StorageCommand.h"

class MediaDrive;

// TimeCommand: fsys time: how long each media drive can be recorded to.
class TimeCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  // Minutes; nothing when that is not known.
  std::optional<uint32_t> timeLeft(const MediaDrive& drive, double space_mib) const;

  uint64_t rate_ = 0;  // bytes a second
  uint64_t rate2_ = 0;
};
