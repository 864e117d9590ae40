#include <algorithm>
#include <optional>

#include "fsys/DiskManager.h"
#include "fsys/VolumeRegistry.h"
#include "platform/OS.h"
#include "platform/TextHelpers.h"

namespace {

using Text = LightweightString<wchar_t>;
using Drives = VolumeSnapshot::Drives;

const VolumeSnapshot& volumes() { return VolumeRegistry::get().volumes(); }

// The first for which `matches` holds, of the list as it is now.
template <typename Matches>
std::optional<uint32_t> indexIn(const Drives& drives, const Matches& matches) {
  for (uint32_t i = 0; i < drives.size(); ++i)
    if (matches(*drives[i])) return i;
  return std::nullopt;
}

auto hasId(DriveId id) {
  return [id](const MediaDrive& drive) { return drive.getId() == id; };
}

template <typename Matches>
DriveId idOfFirst(const Matches& matches) {
  return volumes().read<DriveId>([&matches](const Drives& drives) {
    std::optional<uint32_t> index = indexIn(drives, matches);
    return index ? drives[*index]->getId() : DriveId();
  });
}

DriveId idAt(const Drives& drives, size_t index) {
  return index < drives.size() ? drives[index]->getId() : DriveId();
}

// Answers whether there is one, and changes `id` only then.
bool takeOver(DriveId found, DriveId& id) {
  if (found.valid()) id = found;
  return found.valid();
}

// Without a copy, which would be counted: there are many drives.
std::wstring_view localNameOf(const MediaDrive& drive) {
  std::wstring_view location = drive.getRootLocation().view();
  return location.substr(0, location.size() - (location.empty() ? 0 : 1));
}

// Whether more than one drive is of a kind that may fall silent.
bool mayWaitTwice(const Drives& drives) {
  return std::count_if(drives.begin(), drives.end(), [](const Qv::Ptr<MediaDrive>& drive) {
           return drive->getType() != iDiskDrive::eFixed;
         }) > 1;
}

MediaDrive& orEmptyDrive(const Qv::Ptr<MediaDrive>& drive) {
  return drive ? *drive : VolumeRegistry::emptyDrive();
}

}  // namespace

uint32_t DiskManager::find(DriveId id) { return find_index_for_drive(id); }

uint32_t DiskManager::find_index_for_drive(const DriveId& id) {
  return volumes()
      .read<std::optional<uint32_t>>(
          [id](const Drives& drives) { return indexIn(drives, hasId(id)); })
      .value_or(kNoIndex);
}

Qv::Ptr<MediaDrive> DiskManager::getVolume(DriveId id) { return volumes().find(hasId(id)); }

Qv::Ptr<MediaDrive> DiskManager::getVolume(const Text& path) {
  return volumes().find(
      [&path](const MediaDrive& drive) { return drive.getRootLocation() == path; });
}

MediaDrive& DiskManager::getDriveWithUniqueId(const DriveId& id) {
  return orEmptyDrive(getVolume(id));
}

DriveId DiskManager::get_drive(unsigned short index) {
  return volumes().read<DriveId>([index](const Drives& drives) { return idAt(drives, index); });
}

MediaDrive& DiskManager::getMediaDrive(unsigned short index) {
  return orEmptyDrive(volumes().read<Qv::Ptr<MediaDrive>>(
      [index](const Drives& drives) { return index < drives.size() ? drives[index] : nullptr; }));
}

DriveId DiskManager::getDriveWithName(const Text& name) {
  size_t key = MediaDrive::nameKey(name);
  return idOfFirst([&name, key](const MediaDrive& drive) { return drive.isCalled(name, key); });
}

DriveId DiskManager::getDriveWithPath(const Text& path) {
  return idOfFirst(
      [&path](const MediaDrive& drive) { return equalsNoCase(localNameOf(drive), path.view()); });
}

Text DiskManager::getMaterialVolumeName(DriveId id, bool raw) {
  Text name;
  if (Qv::Ptr<MediaDrive> drive = getVolume(id)) drive->getLocalName(name, raw);
  return name;
}

bool DiskManager::isMaterialVolume(DriveId id) { return find(id) != kNoIndex; }

bool DiskManager::isVolumePresent(DriveId id) { return find(id) != kNoIndex; }

bool DiskManager::isVolumeAutoDiscovered(DriveId id) {
  Qv::Ptr<MediaDrive> drive = getVolume(id);
  return drive && drive->isAutoDiscovered();
}

QvResult DiskManager::getVolInfo(DriveId id, VolumeInfo* info) {
  Qv::Ptr<MediaDrive> drive = getVolume(id);
  return drive && drive->getInfo(info) ? QvResult::OK : QvResult::Failed;
}

bool DiskManager::getFirstMaterialVolume(DriveId& id) { return takeOver(get_drive(0), id); }

bool DiskManager::getNextMaterialVolume(DriveId& id) {
  DriveId next = volumes().read<DriveId>([id](const Drives& drives) {
    std::optional<uint32_t> index = indexIn(drives, hasId(id));
    return index ? idAt(drives, *index + 1) : DriveId();
  });
  return takeOver(next, id);
}

void DiskManager::updateDrives() {
  const Drives drives = volumes().copy();
  // The system asks all at once for its list; those that do not answer are then not waited for.
  if (mayWaitTwice(drives)) (void)OS()->getFileManager()->getDisks();
  for (const Qv::Ptr<MediaDrive>& drive : drives) drive->update();
}
