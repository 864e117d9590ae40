// The media folders of a drive, its information file, and whether it can be written.
#include "fsys/DiskManager.h"
#include "fsys/DriveQuestions.h"
#include "platform/Check.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/TextFile.h"

namespace {

using Text = DiskManager::Text;

Text separator() {
  const wchar_t mark = OS()->getFileManager()->getSeparator();
  return Text(&mark, 1);
}

// The path of a folder at the drive's root.
Text folderOf(DriveId id, const wchar_t* name) {
  return MaterialFilename(id, separator() + name).getOsPath();
}

// Folders that are made where the disk of a drive is not mounted would take its media to another.
bool isRootThere(const MediaDrive& drive) {
  return DriveQuestions::folderIsThere(folderOf(drive.getId(), L"")) &&
         (!drive.isAutoDiscovered() || drive.hasDisk());
}

}  // namespace

bool DiskManager::isVolumePreparedForMedia(DriveId id) {
  return DriveQuestions::folderIsThere(folderOf(id, L"Material")) &&
         DriveQuestions::folderIsThere(folderOf(id, L"Sound"));
}

bool DiskManager::prepareVolumeForMedia(DriveId id) {
  if (isVolumePreparedForMedia(id)) return true;
  Qv::Ptr<MediaDrive> drive = getVolume(id);
  const bool isThere = drive && isRootThere(*drive);
  for (const Text& folder : {folderOf(id, L"Material"), folderOf(id, L"Sound")}) {
    bool success =
        isThere && (DriveQuestions::folderIsThere(folder) || DriveQuestions::makeFolder(folder));
    if (!success)
      LogBoth("DiskManager::prepareVolumeForMedia : Failed to create %s\n", toUTF8(folder).c_str());
    if (!FSYS_CHECK(success, "fsys/DiskManager line 873")) return false;
  }
  return true;
}

Text DiskManager::getInfoFileNameFor(DriveId id) {
  const Text mark = separator();
  return getMaterialVolumeName(id, false) + mark + L"Material" + mark + L"MediaSpaceInfo.txt";
}

bool DiskManager::saveDriveInfo(const MediaDrive& drive) {
  const DriveId id = drive.getId();
  VolumeInfo info;
  if (getVolInfo(id, &info) != QvResult::OK || info.freeBytes == 0) {
    LogBoth("Disk Manager : Insufficient space for MediaSpaceInfo.txt file on drive '%c'.\n",
            id.code());
    return false;
  }
  const Text name = drive.is_unnamed() ? Text() : drive.getUserName(false);
  TextFile file(getInfoFileNameFor(id));
  // A link could lead anywhere: what lies on a disk that was brought along is not trusted.
  if (!file.appendLine(LightweightString<char>("name=") + toUTF8(name)) ||
      !file.save(TextFile::eLineFeed, TextFile::eReplaceLinks))
    Log("Disk Manager - the name of drive '%c' cannot be saved\n", id.code());
  return true;
}

bool DiskManager::writableVolume(const Text& path) { return DriveQuestions::isWritable(path); }

bool DiskManager::isVolumeWritable(DriveId id) {
  return writableVolume(Text() + static_cast<wchar_t>(id.code()) + L":\\");
}

Text DiskManager::getSaveName(const Text& name) {
  return getDriveWithName(name).valid() ? name : Text();
}
