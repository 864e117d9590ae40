#include "fsys/VolumeRegistry.h"

#include <utility>

VolumeRegistry& VolumeRegistry::get() {
  static VolumeRegistry& registry = *new VolumeRegistry;
  return registry;
}

MediaDrive& VolumeRegistry::emptyDrive() {
  // Holds a reference of its own, so that nobody else's is the last.
  static Qv::Ptr<MediaDrive>& drive =
      *new Qv::Ptr<MediaDrive>(new MediaDrive(DriveId(), LightweightString<wchar_t>()));
  return *drive;
}

Qv::Ptr<MediaDrive> VolumeRegistry::registerDrive(const LightweightString<wchar_t>& rootPath,
                                                  iDiskDrive::eType type, bool autoDiscovered) {
  DriveId before = lastIssued_;
  DriveId id = issueId();
  if (!id.valid()) return nullptr;
  try {
    Qv::Ptr<MediaDrive> drive(new MediaDrive(id, rootPath, type));
    drive->setAutoDiscovered(autoDiscovered);
    add(drive);
    return drive;
  } catch (...) {
    lastIssued_ = before;
    throw;
  }
}

void VolumeRegistry::add(const Qv::Ptr<MediaDrive>& drive) {
  VolumeSnapshot::Drives drives = volumes_.copy();
  drives.add(drive);
  volumes_.replace(std::move(drives));
}

bool VolumeRegistry::remove(DriveId id) {
  VolumeSnapshot::Drives drives = volumes_.copy();
  for (size_t i = 0; i < drives.size(); ++i) {
    if (drives[i]->getId() != id) continue;
    drives.removeIdx(i);
    volumes_.replace(std::move(drives));
    return true;
  }
  return false;
}

DriveId VolumeRegistry::issueId() {
  if (lastIssued_.code() == DriveId::kLast) return {};
  lastIssued_ = DriveId(static_cast<unsigned char>(lastIssued_.code() + 1));
  return lastIssued_;
}
