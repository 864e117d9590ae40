#pragma once

#include "tools/fsys/TaskCommand.h"

// TaskClearCommand: fsys task clear NAME: no drive is remembered for a task any more.
class TaskClearCommand : public TaskCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;
};
