#include "tools/fsys/DriveReport.h"

#include <algorithm>
#include <iterator>
#include <tuple>
#include <utility>

#include "fsys/DiskManager.h"
#include "platform/OS.h"
#include "tools/fsys/Command.h"
#include "tools/fsys/DriveKind.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

using Disks = Vector<Qv::Ptr<iDiskDrive>>;

std::string whyExcluded(iDiskDrive& disk) {
  if (disk.getType() == iDiskDrive::eUnknown) return "excluded: a file system of the system's";
  if (disk.isHidden()) return "excluded: hidden by another mount";
  if (disk.isAvailable() && askIsWritable(disk.getRootPath()).error == eOsReadOnly)
    return "excluded: read-only";
  return "excluded: kept by the system";
}

// Null when none lies exactly there.
Qv::Ptr<MediaDrive> driveAt(const PathString& root) {
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    if (getPath(MediaDrives::rootOf(*drive)) == root) return drive;
  return nullptr;
}

// Of a drive that is not excluded and not registered.
std::string whyNoMediaDrive(iDiskDrive& disk, const LocationLists& lists) {
  PathString root = disk.getRootPath();
  if (lists.unmounted.has(root)) return "unmounted by the user";
  if (!disk.isAvailable()) return "does not answer";
  if (disk.getType() != iDiskDrive::eFixed) return "not a fixed disk";
  if (!MediaDrive::liesAt(root)) return "its folder has a backslash";
  std::string folder = bytesOf(MediaDrive::getFolder(eCookieVision));
  PathString media = joinPaths(root, MediaDrive::getFolder(eCookieVision));
  if (!askIsFolder(media).yes) return "no folder " + inQuotes(folder);
  if (!askIsWritable(media).yes) return "cannot be written";
  return "not registered";
}

void setDrive(DriveEntry& entry, const MediaDrive& drive) {
  entry.drive = MediaDrives::codeOf(drive.getId());
  entry.name = MediaDrives::nameOf(drive);
  entry.why = MediaDrives::titleOf(drive.getId());
}

std::string sizeOrNothing(const DriveEntry& entry, uint64_t bytes) {
  return entry.hasSpace ? sizeText(bytes) : "-";
}

}  // namespace

bool DriveEntry::isAs(const DriveEntry& other) const {
  auto facts = [](const DriveEntry& e) {
    return std::tie(e.root, e.fileSystem, e.isOnline, e.isExcluded, e.drive, e.name, e.why);
  };
  return facts(*this) == facts(other) && std::string(kind) == other.kind;
}

Json DriveEntry::json() const {
  Json json;
  putName(json, "root", root);
  json["kind"] = kind;
  json["file_system"] = fileSystem;
  json["free_bytes"] = hasSpace ? Json(freeBytes) : Json(nullptr);
  json["total_bytes"] = hasSpace ? Json(totalBytes) : Json(nullptr);
  json["online"] = isOnline;
  json["excluded"] = isExcluded;
  json["drive"] = drive.empty() ? Json(nullptr) : Json(drive);
  if (!drive.empty()) putName(json, "name", name);
  json["why"] = why;
  return json;
}

std::string DriveEntry::words() const {
  return std::string(kind) + (fileSystem.empty() ? "" : ", " + escaped(fileSystem)) +
         (isOnline ? ", online: " : ", offline: ") + why;
}

DriveReport::DriveReport(const LocationLists& lists) {
  addDisks(lists);
  addLocations();
  addMissing();
}

void DriveReport::addDisks(const LocationLists& lists) {
  OS()->getErrors()->setLastError(0);
  Disks disks = OS()->getFileManager()->getDisks();
  uint32_t error = OS()->getErrors()->getLastError();
  // There is always one.
  if (disks.empty())
    throw engineError("listing the drives", "", error == 0 ? uint32_t{eOsIoError} : error);
  for (const Qv::Ptr<iDiskDrive>& mounted : disks) {
    iDiskDrive& disk = *mounted;
    DriveEntry entry;
    entry.root = bytesOf(disk.getRootPath());
    entry.kind = driveKind(disk.getType());
    entry.fileSystem = bytesOf(disk.getFileSystem());
    entry.isExcluded = disk.isExcluded();
    // Where it is hidden, what is registered there is another drive.
    Qv::Ptr<MediaDrive> drive = disk.isHidden() ? nullptr : driveAt(disk.getRootPath());
    if (drive)
      setDrive(entry, *drive);
    else
      entry.why = entry.isExcluded ? whyExcluded(disk) : whyNoMediaDrive(disk, lists);
    entry.isOnline = disk.isAvailable();
    if (entry.isOnline) entry.hasSpace = disk.getSpace(entry.freeBytes, entry.totalBytes);
    entries.push_back(std::move(entry));
  }
}

bool DriveReport::has(const std::string& root) const {
  return std::any_of(entries.begin(), entries.end(),
                     [&](const DriveEntry& entry) { return entry.root == root; });
}

void DriveReport::addLocations() {
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all()) {
    DriveEntry entry;
    entry.root = bytesOf(getPath(MediaDrives::rootOf(*drive)));
    if (has(entry.root)) continue;
    Qv::Ptr<iDiskDrive> disk = OS()->getFileManager()->getDisk(MediaDrives::rootOf(*drive));
    entry.kind = driveKind(drive->getType());
    if (disk) entry.fileSystem = bytesOf(disk->getFileSystem());
    VolumeInfo info;
    entry.isOnline = DiskManager::getVolInfo(drive->getId(), &info) == QvResult::OK;
    entry.hasSpace = entry.isOnline;
    entry.freeBytes = info.freeBytes;
    entry.totalBytes = info.totalBytes;
    setDrive(entry, *drive);
    entries.push_back(std::move(entry));
  }
}

void DriveReport::addMissing() {
  for (const PathString& path : DiskManager::getMissingMediaLocations()) {
    DriveEntry entry;
    entry.root = bytesOf(withSeparator(path));
    if (has(entry.root)) continue;
    entry.kind = driveKind(iDiskDrive::eUnknown);
    entry.why = "a location that is not there, or cannot be written";
    entries.push_back(std::move(entry));
  }
}

std::vector<DriveEntry> DriveReport::places() const {
  std::vector<DriveEntry> places;
  std::copy_if(entries.begin(), entries.end(), std::back_inserter(places),
               [](const DriveEntry& entry) { return !entry.isExcluded; });
  return places;
}

Table DriveReport::table(const std::vector<DriveEntry>& entries) {
  Table table({{"root"},
               {"kind"},
               {"file system"},
               {"free", Table::eRight},
               {"total", Table::eRight},
               {"state"},
               {"as a media drive"}});
  for (const DriveEntry& entry : entries)
    table.add({escaped(entry.root), entry.kind,
               entry.fileSystem.empty() ? "-" : escaped(entry.fileSystem),
               sizeOrNothing(entry, entry.freeBytes), sizeOrNothing(entry, entry.totalBytes),
               entry.isOnline ? "online" : "offline", entry.why});
  return table;
}
