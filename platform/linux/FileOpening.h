#pragma once

#include <cstdint>
#include <string>

#include "platform/QvPtr.h"
#include "platform/linux/OpenDescriptors.h"

// FileOpening: how one file is to be opened.
struct FileOpening {
  enum eCreate : uint8_t { eNever, eIfMissing, eOnlyIfMissing };

  bool read = false;
  bool write = false;
  eCreate create = eNever;
  bool noLink = false;    // a link is refused, not followed
  bool empty = false;     // what was there is cut off
  bool setOwner = false;  // a new file takes its folder's group and the current user
  // An open-file-description lock is held for as long as the file is open. It is that of the file
  // which has the name when the lock is there: one that lost it meanwhile is let go of.
  bool holdLock = false;
  bool direct = false;  // a second descriptor past the page cache
  bool async = false;   // transfers will be started and waited for elsewhere
};

// Opens a regular file, close-on-exec, without a controlling terminal, never blocking on a FIFO or
// a device. Null, and the thread's last error set, when it cannot be opened so; a folder is
// eOsIsAFolder, anything else that is no regular file eOsNotSupported, a file whose lock another
// one holds eOsAccessDenied, and so one that is to be locked and got another file's name each time.
Qv::Ptr<OpenDescriptors> openRegularFile(const std::string& path, const FileOpening& how);

// The descriptor of a folder, for reading its names; -1, and errno set, when it cannot be opened.
int openFolder(const std::string& path);
