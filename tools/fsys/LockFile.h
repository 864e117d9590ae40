#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>

#include "platform/PathHelpers.h"

// LockFile: a workstation's lock file in a shared folder, as it was when it was looked at.
// Units      seconds.
struct LockFile {
  enum eState {
    eMissing,
    eNoFile,  // a folder, a link, a FIFO
    eLive,
    eStale,
    eUnknown,
  };

  // Of eNoFile and of eLive, for people.
  static constexpr const char* kIsNone = "it is no lock file";
  static constexpr const char* kIsLive = "a process of this workstation is logged in";

  eState state = eMissing;
  std::string why;     // of eUnknown
  uint32_t error = 0;  // it is unknown because of
  int64_t changed_ns = 0;
  dev_t device = 0;
  ino_t inode = 0;

  // These wait for the drive. Whether it is there; of a file the state is unknown yet.
  static LockFile find(const PathString& path);
  // Nothing is opened but a regular file, for reading, and no lock is taken. `isOwn`: it is this
  // workstation's, so that only this machine can hold it.
  static LockFile look(const PathString& path, bool isOwn);
  // Whether it was seen: there is something, and the system told of it.
  bool isSeen() const { return inode != 0; }
  bool isSameFile(const LockFile& other) const {
    return device == other.device && inode == other.inode;
  }
  // "live", "stale" or "unknown".
  const char* stateName() const;
  // Since it was marked; not below 0, though its drive's clock may be ahead.
  int64_t age_s() const;
};

// What the commands of the login ask of the folder that they are given.
namespace LoginFolder {

// Absolute, and there; throws. Waits for its drive as long as a login does.
PathString of(const char* doing, const std::string& word);
// This workstation's lock file in the folder. Throws where the workstation has no name of which one
// can be made.
PathString ownLockFile(const char* doing, const PathString& folder);

}  // namespace LoginFolder
