#include "platform/linux/LinuxDisk.h"

#include <chrono>
#include <new>
#include <string_view>

#include "platform/DriveErrand.h"
#include "platform/linux/DriveKind.h"
#include "platform/linux/LinuxFailure.h"

namespace {

DriveProbe::Deadline usualDeadline() {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(kDrivePatience_ms);
}

}  // namespace

LinuxDisk::LinuxDisk(const MountEntry& mount, bool isHidden, const Qv::Ptr<DriveProbe>& probe)
    : mount_(mount.id),
      folder_(mount.folder),
      fileSystem_(mount.fileSystem),
      type_(driveTypeOf(mount)),
      sectorSize_(mount.device.sectorSize != 0 ? mount.device.sectorSize : kUsualSectorSize),
      isHidden_(isHidden),
      isExcluded_(isHidden || isNoPlaceForMedia(mount)),
      isAsked_(!isHidden && !isPseudo(mount) && !isAutomount(mount)),
      probe_(probe) {}

LightweightString<wchar_t> LinuxDisk::getRootPath() const {
  bool hasSeparator = !folder_.empty() && folder_.back() == '/';
  return fromUTF8(std::string_view(hasSeparator ? folder_ : folder_ + "/"));
}

LightweightString<wchar_t> LinuxDisk::getFileSystem() const {
  return fromUTF8(std::string_view(fileSystem_));
}

bool LinuxDisk::isAvailable() {
  if (isAsked_ && heard_ == eNothing) hear(ask(), usualDeadline());
  return heard_ == eAnswer;
}

bool LinuxDisk::getSpace(uint64_t& freeBytes, uint64_t& totalBytes) {
  freeBytes = totalBytes = 0;
  Asked asked;
  uint32_t result = eOsNotSupported;
  if (isAsked_) {
    asked = ask();
    result = hear(asked, usualDeadline());
  }
  if (result != 1) {
    failWith(result);
    return false;
  }
  freeBytes = asked.question->freeBytes();
  totalBytes = asked.question->totalBytes();
  return true;
}

LinuxDisk::Asked LinuxDisk::ask() {
  Asked asked;
  try {
    asked.question = Qv::Ptr<SpaceQuestion>(new SpaceQuestion(folder_, mount_));
    asked.turn = probe_->hand(asked.question);
  } catch (const std::bad_alloc&) {
    asked.result = eOsNoMemory;
  }
  return asked;
}

uint32_t LinuxDisk::hear(const Asked& asked, DriveProbe::Deadline deadline) {
  uint32_t result = asked.turn ? probe_->wait(asked.turn, deadline) : asked.result;
  if (result == 1 && asked.question->error() != 0) result = osErrorOf(asked.question->error());
  heard_ = result == 1 ? eAnswer : eSilence;
  return result;
}
