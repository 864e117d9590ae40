#include "tools/fsys/PrepareCommand.h"

#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "preparing";

}  // namespace

CLI::App* PrepareCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "prepare", "Make the media folders of a drive where they are missing");
  addWord(command, "PATH|DRIVE", place_, "A folder, or a drive's code, name or path");
  return command;
}

ExitCode PrepareCommand::work() {
  DriveId id = driveFor();
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id);
  bool wasPrepared = DiskManager::isVolumePreparedForMedia(id);
  OS()->getErrors()->setLastError(0);
  if (!DiskManager::prepareVolumeForMedia(id))
    throw driveError(kDoing, MediaDrives::rootOf(*drive), OS()->getErrors()->getLastError())
        .withRemark("a folder that could be made stays");
  putName(results(), "path", MediaDrives::pathOf(*drive));
  results()["was_prepared"] = wasPrepared;
  results()["drive"] = isRegistered_ ? Json(MediaDrives::codeOf(id)) : Json(nullptr);
  say(inQuotes(MediaDrives::pathOf(*drive)) +
      (wasPrepared ? " was prepared already" : " is prepared for media"));
  if (!isRegistered_) say("it is no media drive by this alone; fsys locations add makes it one");
  return ExitCode::eSuccess;
}

// A folder that is no media drive becomes one for as long as this takes.
DriveId PrepareCommand::driveFor() {
  if (Qv::Ptr<MediaDrive> drive = MediaDrives::called(place_)) return drive->getId();
  PathString path = locationPath(place_);
  requireFolder(kDoing, path);
  requireWritable(kDoing, path);
  isRegistered_ = false;
  DriveId id;
  if (!DiskManager::addMaterialVolume(path, id, false) || !DiskManager::getVolume(id))
    throw ToolError(ExitCode::eIo, kDoing, bytesOf(path), "the drive cannot be used");
  return id;
}
