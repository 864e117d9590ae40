#pragma once

#include <optional>

#include "tools/fsys/StorageCommand.h"

// TaskCommand: what the commands have in common that remember a drive for a task.
class TaskCommand : public StorageCommand {
protected:
  // The command of that name in the group, with the task's name.
  CLI::App* addTo(CLI::App& app, const char* name, const char* what);
  // Throws for a name that no setting can have.
  void checkTask(const char* doing) const;
  // The path of the drive that is remembered, as it was stored.
  std::optional<PathString> remembered() const;
  LightweightString<char> key() const;

  std::string task_;
};
