#pragma once

#include <string>

#include "tests/support/ScratchFolder.h"

// MountedFolder: a folder of one kind to stream media in: the disk that tests run on, memory, or a
// drive in a file, with ext4 or xfs on sectors of 512 bytes, or with sectors of 4096. Unmounted and
// gone at the end.
// Errors     where the machine forbids mounting, path() is empty and why() says what was refused.
class MountedFolder {
public:
  enum eKind { eDisk, eMemory, eLargeSectors, eExt4, eXfs };

  explicit MountedFolder(eKind kind, unsigned size_mib = 192);
  ~MountedFolder();
  MountedFolder(const MountedFolder&) = delete;
  MountedFolder& operator=(const MountedFolder&) = delete;

  const std::string& path() const { return path_; }
  const std::string& why() const { return why_; }
  LightweightString<wchar_t> operator/(std::string_view name) const {
    return fromUTF8(std::string_view(path_ + "/" + std::string(name)));
  }

private:
  bool run(const std::string& command);
  void mountDrive(eKind kind, unsigned size_mib);

  ScratchFolder scratch_;
  std::string path_;
  std::string why_;
  std::string loop_;  // the loop device, if one was made
  bool mounted_ = false;
};
