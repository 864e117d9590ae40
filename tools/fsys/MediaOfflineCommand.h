#pragma once

#include "tools/fsys/MediaCommand.h"

// MediaOfflineCommand: fsys media offline: what of the catalogue cannot be opened now.
class MediaOfflineCommand : public MediaCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  std::string heading() const override;
  bool tell(const Cookie& cookie, FsysDirectoryEntry& entry) override;
};
