#pragma once

#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/MediaDrive.h"
#include "platform/PathHelpers.h"
#include "tools/fsys/Json.h"
#include "tools/fsys/Table.h"

// FolderCount: what the catalogue has of one media folder.
// Units      bytes, of links their own.
struct FolderCount {
  Qv::Ptr<MediaDrive> drive;
  PathString prefix;  // of the paths of its files, on the drive
  uint64_t files = 0;
  uint64_t proxies = 0;  // of the files
  uint64_t links = 0;    // of the files
  uint64_t bytes = 0;

  // Both folders of each registered drive, counted. Throws when the end is asked for.
  static std::vector<FolderCount> all();
  static Table table(const std::vector<FolderCount>& folders);

  Json json() const;

private:
  void add(uint64_t size, bool isProxy);
  PathString path() const;
};
