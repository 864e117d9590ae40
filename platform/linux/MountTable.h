#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "platform/OsFiles.h"
#include "platform/common/Mutex.h"

// MountTable: the drives behind the mounts of this machine.
// Story      Reads the table with the mount library when it is first asked, and again when the
//            system says that it has changed. In between, finding the drive of a path costs a look
//            at the path and no more.
// Threads    any. No lock is held while a path is looked at, so that a share that does not answer
//            holds up nobody but who asks for it; who asks for a path under a network mount is
//            answered from the table alone.
class MountTable {
public:
  // The drive of an absolute or relative path, or of the nearest folder above it that exists. Null,
  // and `error` the system's error number, when it is not known.
  Qv::Ptr<iDiskDrive> find(const std::string& path, int& error);

private:
  struct NetworkMount {
    std::string folder;
    Qv::Ptr<iDiskDrive> drive;
  };
  struct Place {
    uint64_t mount = 0;  // 0 when the system does not tell
    dev_t device = 0;
  };

  static bool locate(std::string path, Place& place, int& error);
  Qv::Ptr<iDiskDrive> findNetwork(const std::string& path);
  Qv::Ptr<iDiskDrive> findPlace(const Place& place);
  bool hasChangedLocked() REQUIRES(lock_);
  void refreshLocked() REQUIRES(lock_);
  void addLocked(void* mount) REQUIRES(lock_);

  Mutex lock_;
  int watch_ GUARDED_BY(lock_) = -1;  // tells of changes; never closed
  std::unordered_map<uint64_t, Qv::Ptr<iDiskDrive>> byMount_ GUARDED_BY(lock_);
  std::unordered_map<dev_t, Qv::Ptr<iDiskDrive>> byDevice_ GUARDED_BY(lock_);
  std::vector<NetworkMount> networkMounts_ GUARDED_BY(lock_);
};
