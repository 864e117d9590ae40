#include "tools/fsys/TaskCommand.h"

#include "platform/EditorPreferences.h"
#include "tools/fsys/Text.h"

CLI::App* TaskCommand::addTo(CLI::App& app, const char* name, const char* what) {
  CLI::App* command = addCommand(app, kTasks, name, what);
  addWord(command, "NAME", task_, "The task, for example Record");
  return command;
}

void TaskCommand::checkTask(const char* doing) const {
  if (task_.empty()) throw ToolError(ExitCode::eUsage, doing, "", "the task's name is empty");
  if (!isPlainText(task_))
    throw ToolError(ExitCode::eUsage, doing, task_,
                    "a task's name has no control characters and is UTF-8");
}

LightweightString<char> TaskCommand::key() const {
  std::string key = "Media Location (" + task_ + ")";
  return LightweightString<char>(key.c_str());
}

std::optional<PathString> TaskCommand::remembered() const {
  // No path is a line feed: a setting is one line.
  const PathString none = L"\n";
  PathString path = prefs().getPreference(key(), none);
  return path == none ? std::nullopt : std::optional(path);
}
