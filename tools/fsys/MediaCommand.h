#pragma once

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/StorageCommand.h"

// MediaCommand: what the commands have in common that tell of every entry of the catalogue.
// Story      Each entry is told as it is come to, on a line of its own, and not kept: there may be
//            a million. In JSON these are objects on a line each; the last one ends the command.
class MediaCommand : public StorageCommand {
protected:
  static constexpr Group kMedia = {"media", "What the catalogue has on all media drives"};

  // What is told before the entries, in words.
  virtual std::string heading() const = 0;
  // Whether it was told.
  virtual bool tell(const Cookie& cookie, FsysDirectoryEntry& entry) = 0;

  bool tellsLines() const final { return true; }
  bool usesCatalogue() const final { return true; }
  ExitCode work() final;
};
