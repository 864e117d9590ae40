#include "tools/fsys/TaskClearCommand.h"

#include "fsys/DiskManager.h"
#include "platform/EditorPreferences.h"
#include "platform/OS.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "clearing the drive of the task";

}  // namespace

CLI::App* TaskClearCommand::defineStorage(CLI::App& app) {
  return addTo(app, "clear", "Forget which drive a task uses");
}

ExitCode TaskClearCommand::work() {
  checkTask(kDoing);
  bool wasRemembered = remembered().has_value();
  DiskManager::setDriveForTask(task_.c_str(), DriveId());
  // The registry does not tell whether it was written: it is asked for once more.
  if (!prefs().removePreference(key()))
    throw engineError(kDoing, task_, OS()->getErrors()->getLastError());
  putName(results(), "task", task_);
  results()["was_remembered"] = wasRemembered;
  say("no drive is remembered for the task " + inQuotes(task_) +
      (wasRemembered ? " any more" : ", and none was"));
  return ExitCode::eSuccess;
}
