#pragma once

#include <sys/types.h>

#include <string>

#include "platform/OsFiles.h"
#include "platform/common/Mutex.h"
#include "platform/linux/MountEntry.h"
#include "platform/linux/MountTree.h"

// MountTable: the drives behind the mounts of this machine.
// Story      Reads the table with the mount library when it is first asked, and again when the
//            system says that it has changed, or the process has gone to another mount namespace.
//            In between, finding the drive of a path costs a look at each of its names and no
//            more; at those on a drive that may fall silent not even that.
// Threads    any. No lock is held while a path is looked at.
// Units      paths are the system's bytes, absolute or relative.
class MountTable {
public:
  // The drive of a path, or of the nearest folder above it that exists. Null, and `error` the
  // system's error number, when it is not known. Where the system mounts a drive when somebody goes
  // there, it is made to, and waited for: for kDrivePatience_ms at most, then ETIMEDOUT.
  Qv::Ptr<iDiskDrive> find(const std::string& path, int& error);
  // Through whom a path can be asked about without waiting for its drive; null when that drive
  // answers by itself, or is not known. Never waits.
  Qv::Ptr<DriveProbe> probeOf(const std::string& path);
  // What is mounted where a path lies, and the path below it: links followed as find() does, and
  // without "." and "..", also in what does not exist. False, and `error` the system's error
  // number, when it is not known. Never waits.
  bool describe(const std::string& path, MountedAt& at, int& error);
  // All mounts, as they are now. When the system does not tell, for want of descriptors or memory,
  // as they were; the next call asks again.
  Qv::Ptr<MountTree> latest();
  // Closes what tells of changes; whoever asks after that opens it anew. Never waits: while another
  // thread asks, it stays open.
  void unwatch();

private:
  // Drives that the system mounts on its way along one path.
  static constexpr unsigned kMostAutomounts = 8;

  bool hasChangedLocked() REQUIRES(lock_);

  Mutex lock_;
  int watch_ GUARDED_BY(lock_) = -1;       // tells of changes, to one process, in one namespace
  pid_t process_ GUARDED_BY(lock_) = 0;    // whose it is
  ino_t namespace_ GUARDED_BY(lock_) = 0;  // where
  bool isStale_ GUARDED_BY(lock_) = true;
  Qv::Ptr<MountTree> tree_ GUARDED_BY(lock_);
};
