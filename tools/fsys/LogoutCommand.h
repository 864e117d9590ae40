#pragma once

#include "tools/fsys/Command.h"
#include "tools/fsys/LockFile.h"

// LogoutCommand: fsys logout FOLDER: deletes this workstation's lock file there when it is a
// leftover. One that is held, or of which that cannot be told, stays unless it is forced.
class LogoutCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  void tell(const PathString& file, const LockFile& seen);
  // Why the file stays: throws.
  void refuse(const PathString& file, const LockFile& seen) const;

  std::string folder_;
  bool force_ = false;
};
