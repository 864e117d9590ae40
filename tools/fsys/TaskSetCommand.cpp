#include "tools/fsys/TaskSetCommand.h"

#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "setting the drive of the task";

}  // namespace

CLI::App* TaskSetCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addTo(app, "set", "Remember a drive for a task");
  addWord(command, "DRIVE", drive_, "Its code, its name or its path");
  return command;
}

ExitCode TaskSetCommand::work() {
  checkTask(kDoing);
  Qv::Ptr<MediaDrive> drive = MediaDrives::require(kDoing, drive_);
  OS()->getErrors()->setLastError(0);
  DiskManager::setDriveForTask(task_.c_str(), drive->getId());
  uint32_t error = OS()->getErrors()->getLastError();
  // The registry does not tell whether it was written.
  if (remembered() != DiskManager::getMaterialVolumeName(drive->getId(), false)) {
    if (error == 0) throw ToolError(ExitCode::eIo, kDoing, task_, "it was not written");
    throw engineError(kDoing, task_, error);
  }
  putName(results(), "task", task_);
  MediaDrives::put(results(), *drive);
  say("the task " + inQuotes(task_) + " uses " + MediaDrives::titleOf(drive->getId()) + ", " +
      inQuotes(MediaDrives::pathOf(*drive)));
  return ExitCode::eSuccess;
}
