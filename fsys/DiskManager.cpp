#include "fsys/DiskManager.h"

#include "fsys/VolumeSnapshot.h"

namespace {

// Never destroyed: completion threads may look up while the process ends.
VolumeSnapshot& volumes() {
  static VolumeSnapshot& snapshot = *new VolumeSnapshot;
  return snapshot;
}

}  // namespace

Qv::Ptr<MediaDrive> DiskManager::getVolume(const LightweightString<wchar_t>& path) {
  return volumes().find(
      [&path](const MediaDrive& drive) { return drive.getRootLocation() == path; });
}

void DiskManager::addVolume(const Qv::Ptr<MediaDrive>& drive) {
  VolumeSnapshot::Drives drives = volumes().copy();
  drives.add(drive);
  volumes().replace(std::move(drives));
}

void DiskManager::deInit() { volumes().replace({}); }
