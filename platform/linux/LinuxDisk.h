#pragma once

#include <atomic>
#include <string>

#include "platform/OsFiles.h"
#include "platform/linux/DriveProbe.h"
#include "platform/linux/MountEntry.h"
#include "platform/linux/SpaceQuestion.h"

// LinuxDisk: the drive behind one mount, as the system described it when its list was read.
// Story      Every mount is a drive of its own, also where several are of one disk. What is asked
//            of the system again is asked of the mount, not of the folder: once something else lies
//            there, or nothing, the drive is gone, and answers nothing.
// Threads    any. getSpace and the first isAvailable wait for the drive, at most kDrivePatience_ms,
//            and not at all while an earlier question is late: a disk of this machine that is
//            breaking may keep whoever asks it waiting too.
// Ownership  shares the mount's probe with other descriptions of the same mount.
// Units      bytes; a space that 64 bits do not hold is the most that they do.
// Errors     getSpace: eOsNotFound when the drive is gone, eOsNoMemory.
// Kept       pseudo file systems, automounts and hidden drives are never asked: they are not
//            available, and their space is eOsNotSupported.
class LinuxDisk final : public iDiskDrive {
public:
  static constexpr uint32_t kUsualSectorSize = 512;  // where the device does not tell

  // A question that is under way.
  struct Asked {
    Qv::Ptr<SpaceQuestion> question;
    Qv::Ptr<DriveProbe::Turn> turn;  // null: it is over
    uint32_t result = 0;             // then
  };

  // The mount's probe; without one the drive cannot be asked.
  LinuxDisk(const MountEntry& mount, bool isHidden, const Qv::Ptr<DriveProbe>& probe);

  eType getType() const override { return type_; }
  uint32_t getSectorSize() const override { return sectorSize_; }
  LightweightString<wchar_t> getRootPath() const override;
  LightweightString<wchar_t> getFileSystem() const override;
  bool isExcluded() const override { return isExcluded_; }
  bool isHidden() const override { return isHidden_; }
  bool isAvailable() override;
  bool getSpace(uint64_t& freeBytes, uint64_t& totalBytes) override;

  // Whether it is a drive that can be asked.
  bool isAsked() const { return isAsked_; }
  // A question in two steps, so that several drives can be waited for at once. To ask takes no
  // time, and never fails; to hear takes until the deadline at most, and is done once for each
  // question, in any case. 1, or an OsError.
  Asked ask();
  uint32_t hear(const Asked& asked, DriveProbe::Deadline deadline);

private:
  enum eHeard : uint8_t { eNothing, eAnswer, eSilence };

  const uint64_t mount_;
  const std::string folder_;
  const std::string fileSystem_;
  const eType type_;
  const uint32_t sectorSize_;
  const bool isHidden_;
  const bool isExcluded_;
  const bool isAsked_;
  const Qv::Ptr<DriveProbe> probe_;
  std::atomic<eHeard> heard_{eNothing};  // when it was last asked
};
