// The locations that the user adds and takes out, their list, and their names.
#include "fsys/DiskManager.h"
#include "fsys/DriveQuestions.h"
#include "fsys/ListFile.h"
#include "fsys/SystemCache.h"
#include "fsys/UnmountedList.h"
#include "fsys/VolumeRegistry.h"
#include "platform/Check.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/TextFile.h"
#include "platform/TextHelpers.h"

namespace {

using Text = DiskManager::Text;

Text locationsFile() {
  return joinPaths(VolumeRegistry::get().projectSpace, getMediaLocationsFilename());
}

Text locationOn(const ListFile& list, size_t line) { return undoubledBackslashes(list[line]); }

// The first drive that lies there, in any case.
Qv::Ptr<MediaDrive> driveAt(const Text& path) {
  return VolumeRegistry::get().volumes().find([&path](const MediaDrive& drive) {
    return equalsNoCase(drive.getListedLocation().view(), path.view());
  });
}

// The first that a list has there, case counting.
Qv::Ptr<MediaDrive> driveOf(const Text& line) {
  return VolumeRegistry::get().volumes().find(
      [&line](const MediaDrive& drive) { return drive.getListedLocation() == line; });
}

// An empty location is that of the root of all.
Text listedLocation(const Text& location) {
  const wchar_t separator = OS()->getFileManager()->getSeparator();
  return location.empty() ? Text(&separator, 1) : location;
}

iDiskDrive::eType typeOf(const Text& path) {
  Qv::Ptr<iDiskDrive> disk = OS()->getFileManager()->getDisk(withSeparator(path));
  return disk ? disk->getType() : iDiskDrive::eFixed;
}

// Null when the identifiers are used up.
Qv::Ptr<MediaDrive> registeredDrive(const Text& path, bool autoDiscovered) {
  const iDiskDrive::eType type = typeOf(path);
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(path);
  if (drive) {
    (void)FSYS_CHECK(false, "fsys/DiskManager line 904");
    drive->setAutoDiscovered(autoDiscovered);
  } else {
    drive = VolumeRegistry::get().registerDrive(path, type, autoDiscovered);
  }
  return drive;
}

// What its disk says that it is called, else its folder.
void nameDrive(DriveId id, const Text& path) {
  Text name = DiskManager::getMediaLocationUserName(id);
  if (name.empty()) name = stripPath(withoutSeparator(path));
  DiskManager::setMediaLocationUserName(id, name);
}

// Also when such a line stands there already, of a location that was away.
void list(const Text& path) {
  ListFile locations(locationsFile());
  if (locations.append(path)) locations.save();
}

size_t lineOf(const Text& path, const ListFile& locations) {
  for (size_t line = 0; line < locations.count(); ++line)
    if (equalsNoCase(locations[line].view(), path.view())) return line;
  for (size_t line = 0; line < locations.count(); ++line)
    if (equalsNoCase(locationOn(locations, line).view(), path.view())) return line;
  return locations.count();
}

void unlist(const Text& path) {
  ListFile locations(locationsFile());
  const size_t line = lineOf(path, locations);
  if (line == locations.count()) return;
  locations.removeLine(line);
  locations.save();
}

}  // namespace

bool DiskManager::addMaterialVolume(const Text& path, DriveId& id, bool autoDiscovered) {
  if (!writableVolume(path) || !DriveQuestions::folderIsThere(path)) return false;
  Qv::Ptr<MediaDrive> drive = registeredDrive(path, autoDiscovered);
  if (!drive) {
    Log("Disk Manager - no identifier is left for drive '%s'\n", toUTF8(path).c_str());
    return false;
  }
  id = drive->getId();
  drive->update();
  return true;
}

bool DiskManager::addDriveForMediaLocation(const Text& path, bool autoDiscovered) {
  if (path.empty()) return false;
  DriveId id;
  const bool isAdded = addMaterialVolume(path, id, autoDiscovered);
  if (isAdded) nameDrive(id, path);
  // Also of a failure, with the identifier that means none.
  SystemCache::addMediaLocation(id);
  return isAdded;
}

bool DiskManager::addDrivesFromFile(const Text& file) {
  Vector<Text>& missing = VolumeRegistry::get().missingMediaLocations;
  missing.clear();
  const ListFile locations(file);
  for (size_t line = 0; line < locations.count(); ++line) {
    const Text path = locationOn(locations, line);
    if (driveOf(path) || addDriveForMediaLocation(path, false)) continue;
    LogBoth("** Can't add material drive '%s'\n", locations.bytes(line).c_str());
    missing.add(path);
  }
  informInterestedParties();
  return true;
}

bool DiskManager::addMediaLocation(const Text& path) {
  if (path.empty() || !ListFile::isEntry(path)) {
    Log("Disk Manager - '%s' is no path of a media location\n", toUTF8(path).c_str());
    return false;
  }
  if (driveAt(path)) return false;
  const bool comesBack = UnmountedList(VolumeRegistry::get().projectSpace).takeOut(path);
  if (!comesBack) list(path);
  addDriveForMediaLocation(path, comesBack);
  informInterestedParties();
  return true;
}

bool DiskManager::removeMediaLocation(const Text& location) {
  const Text path = listedLocation(location);
  Qv::Ptr<MediaDrive> drive = driveAt(path);
  if (!drive) return false;
  // The list first: should it end here, the drive is gone at the next start.
  if (drive->isAutoDiscovered())
    UnmountedList(VolumeRegistry::get().projectSpace).append(path);
  else
    unlist(path);
  SystemCache::removeMediaLocation(drive->getId());
  deleteMaterialVolume(drive->getId());
  informInterestedParties();
  return true;
}

bool DiskManager::renameMediaLocation(const DriveId& id, const Text& name) {
  Qv::Ptr<MediaDrive> drive = getVolume(id);
  if (!drive) return false;
  if (!ListFile::isEntry(name)) {
    Log("Disk Manager - '%s' is no name of a media location\n", toUTF8(name).c_str());
    return false;
  }
  drive->setUserName(name);
  const bool isSaved = saveDriveInfo(*drive);
  informInterestedParties();
  return isSaved;
}

void DiskManager::setMediaLocationUserName(DriveId id, Text name) {
  Qv::Ptr<MediaDrive> drive = getVolume(id);
  if (drive)
    drive->setUserName(name);
  else
    (void)FSYS_CHECK(false, "fsys/DiskManager line 200");
}

Text DiskManager::getMediaLocationUserName(DriveId id) {
  // Without a drive the file's name would be one at the root of the machine.
  if (!isMaterialVolume(id)) return {};
  TextFile file(getInfoFileNameFor(id));
  const bool isReadable = file.load() != TextFile::eFailed;
  if (isReadable && file.lineCount() == 0) return {};
  const LightweightString<char> line = file[0];
  const Qv::AttribValuePair pair = Qv::splitPair(line.view());
  if (pair.isPair && equalsNoCase(pair.attribute, std::string_view("name")))
    return fromUTF8(pair.value);
  Log("Disk Manager - MediaSpaceInfo.txt contents corrupt\n");
  (void)FSYS_CHECK(false, "fsys/DiskManager line 185");
  return {};
}

Vector<Text> DiskManager::getMissingMediaLocations() {
  return VolumeRegistry::get().missingMediaLocations;
}
