#pragma once

#include "tools/fsys/TaskCommand.h"

// TaskSetCommand: fsys task set NAME DRIVE: remembers a drive for a task.
class TaskSetCommand : public TaskCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  std::string drive_;
};
