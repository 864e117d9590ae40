#pragma once

#include <string>

#include "platform/OsFiles.h"
#include "platform/common/Mutex.h"
#include "platform/linux/MountTree.h"

// MountTable: the drives behind the mounts of this machine.
// Story      Reads the table with the mount library when it is first asked, and again when the
//            system says that it has changed. In between, finding the drive of a path costs a look
//            at each of its names and no more; at those on a network drive not even that.
// Threads    any. No lock is held while a path is looked at.
class MountTable {
public:
  // The drive of an absolute or relative path, or of the nearest folder above it that exists. Null,
  // and `error` the system's error number, when it is not known.
  Qv::Ptr<iDiskDrive> find(const std::string& path, int& error);

private:
  Qv::Ptr<MountTree> latest();
  bool hasChangedLocked() REQUIRES(lock_);

  Mutex lock_;
  int watch_ GUARDED_BY(lock_) = -1;  // tells of changes; never closed
  Qv::Ptr<MountTree> tree_ GUARDED_BY(lock_);
};
