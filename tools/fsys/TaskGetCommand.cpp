#include "tools/fsys/TaskGetCommand.h"

#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "looking for the drive of the task";

}  // namespace

CLI::App* TaskGetCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addTo(app, "get", "Say which drive a task uses");
  addFlag(command, "--fall-back", fallBack_, "Without one, the last drive with free space");
  return command;
}

ExitCode TaskGetCommand::work() {
  checkTask(kDoing);
  // Where nothing is remembered, the registry would take the root of all for it.
  DriveId id;
  if (remembered()) id = DiskManager::getDriveForTask(task_.c_str(), false);
  bool isRemembered = id.valid();
  if (!isRemembered && fallBack_) id = DiskManager::find_best_disk();
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id);
  if (!drive) throw none();
  putName(results(), "task", task_);
  results()["remembered"] = isRemembered;
  MediaDrives::put(results(), *drive);
  say(MediaDrives::titleOf(id) + ", " + inQuotes(MediaDrives::pathOf(*drive)) +
      (isRemembered ? "" : " (none is remembered)"));
  return ExitCode::eSuccess;
}

ToolError TaskGetCommand::none() const {
  std::optional<PathString> path = remembered();
  if (fallBack_)
    return ToolError(ExitCode::eNotFound, kDoing, task_, "no media drive has free space");
  if (!path) return ToolError(ExitCode::eNotFound, kDoing, task_, "none is remembered");
  return ToolError(
      ExitCode::eNotFound, kDoing, task_,
      inQuotes(bytesOf(withSeparator(*path))) + " is remembered, which is no media drive now");
}
