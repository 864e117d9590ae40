#pragma once

#include "tools/fsys/MediaCommand.h"

// MediaListCommand: fsys media list: every entry of the catalogue.
class MediaListCommand : public MediaCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  std::string heading() const override;
  bool tell(const Cookie& cookie, FsysDirectoryEntry& entry) override;
};
