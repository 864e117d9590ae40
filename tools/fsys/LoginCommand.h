#pragma once

#include "tools/fsys/Command.h"
#include "tools/fsys/LockFile.h"

// LoginCommand: fsys login FOLDER: logs this workstation in, and out again when it is interrupted.
// It ends by itself when somebody else has logged the workstation out.
class LoginCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;
  bool tellsLines() const override { return true; }

private:
  void tellBegin(const PathString& file) const;

  std::string folder_;
};
