#pragma once

#include <cstdint>

#include "platform/LightweightString.h"
#include "platform/iObject.h"

// iDiskDrive: one drive that is mounted on this machine, as it was when it was asked for: only its
// space is asked of the system again.
// Threads    any.
// Units      bytes.
// Errors     none, but for getSpace: what is not known is eUnknown, 512 bytes, or an empty text.
class iDiskDrive : public iObject {
public:
  // What kind of drive it is.
  enum eType : uint32_t {
    eUnknown = 0,
    eFixed = 1,
    eRemovable = 2,
    eNetwork = 3,
    eOptical = 4,
    eMemory = 5,
  };

  virtual eType getType() const = 0;
  virtual uint32_t getSectorSize() const = 0;
  // Where it is mounted, with a separator at its end.
  virtual LightweightString<wchar_t> getRootPath() const = 0;
  // The name of its file system, for people: "ext4".
  virtual LightweightString<wchar_t> getFileSystem() const = 0;
  // Whether it is no place for media: what the system keeps for itself, what cannot be written, and
  // what lies hidden under another mount.
  virtual bool isExcluded() const = 0;
  // Whether it lies under another mount, so that no path leads to it. What is hidden is excluded.
  virtual bool isHidden() const = 0;
  // Whether it answered in time when it was last asked. A drive that was not asked yet is asked.
  virtual bool isAvailable() = 0;
  // Asks for the bytes that may still be written, and all. False, both 0, and the thread's last
  // error set, when it does not answer in time (eOsTimedOut) or answers an error.
  virtual bool getSpace(uint64_t& freeBytes, uint64_t& totalBytes) = 0;
};
