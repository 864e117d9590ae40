#pragma once

#include "tools/fsys/TaskCommand.h"

// TaskGetCommand: fsys task get NAME: which drive a task uses.
class TaskGetCommand : public TaskCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;

private:
  ToolError none() const;

  bool fallBack_ = false;
};
