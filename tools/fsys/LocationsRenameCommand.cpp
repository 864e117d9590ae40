#include "tools/fsys/LocationsRenameCommand.h"

#include "platform/OS.h"
#include "platform/TextFile.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "renaming the drive";

void refuse(const std::string& name) {
  if (name.empty()) throw ToolError(ExitCode::eUsage, kDoing, "", "the new name is empty");
  if (!isPlainText(name))
    throw ToolError(ExitCode::eUsage, kDoing, "",
                    "the new name " + inQuotes(name) + " has control characters or is no UTF-8");
}

ToolError notWritten(const MediaDrive& drive, uint32_t error) {
  VolumeInfo info;
  std::string path = MediaDrives::pathOf(drive);
  if (DiskManager::getVolInfo(drive.getId(), &info) == QvResult::OK && info.freeBytes == 0)
    return ToolError(ExitCode::eNoSpace, kDoing, path, "the drive is full");
  if (error == 0) return ToolError(ExitCode::eIo, kDoing, path, "the name was not written");
  return driveError(kDoing, MediaDrives::rootOf(drive), error);
}

}  // namespace

CLI::App* LocationsRenameCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addCommand(app, kLocations, "rename", "Give a media drive another name");
  addWord(command, "DRIVE", drive_, "Its code, its name or its path");
  addWord(command, "NAME", name_, "The new name");
  return command;
}

ExitCode LocationsRenameCommand::work() {
  refuse(name_);
  Qv::Ptr<MediaDrive> drive = MediaDrives::require(kDoing, drive_);
  std::string before = MediaDrives::nameOf(*drive);
  requireFolder("keeping the drive's name in",
                joinPaths(MediaDrives::rootOf(*drive), MediaDrive::getFolder(eCookieVision)));
  OS()->getErrors()->setLastError(0);
  bool isSaved =
      DiskManager::renameMediaLocation(drive->getId(), fromUTF8(std::string_view(name_)));
  uint32_t error = OS()->getErrors()->getLastError();
  if (!isSaved || !isKept(drive->getId())) throw notWritten(*drive, error);
  putName(results(), "was", before);
  MediaDrives::put(results(), *drive);
  say(MediaDrives::titleOf(drive->getId()) + " is called " + inQuotes(name_) + " now");
  return ExitCode::eSuccess;
}

// The registry does not tell whether the name was written: it is read back.
bool LocationsRenameCommand::isKept(DriveId id) const {
  if (bytesOf(DiskManager::getMediaLocationUserName(id)) == name_) return true;
  PathString name = DiskManager::getInfoFileNameFor(id);
  if (TextFile(name).load() == TextFile::eFailed)
    throw driveError("reading back", name, OS()->getErrors()->getLastError());
  return false;
}
