#pragma once

#include <sys/mount.h>

#include "tests/support/OwnMounts.h"
#include "tests/support/ScratchFolder.h"

// FolderInMemory: for a scope, what an empty folder holds lies in memory, where names change a
// hundred times as fast as on a disk. Where nothing can be mounted it stays on its disk.
class FolderInMemory {
public:
  explicit FolderInMemory(const ScratchFolder& folder)
      : folder_(folder), isMounted_(mount("none", path(), "tmpfs", 0, "size=16m") == 0) {}
  ~FolderInMemory() {
    if (isMounted_) umount2(path(), MNT_DETACH);
  }
  FolderInMemory(const FolderInMemory&) = delete;
  FolderInMemory& operator=(const FolderInMemory&) = delete;

private:
  const char* path() const { return folder_.path().c_str(); }

  OwnMounts own_;
  const ScratchFolder& folder_;
  const bool isMounted_;
};
