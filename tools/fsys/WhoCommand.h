#pragma once

#include <vector>

#include "tools/fsys/Command.h"
#include "tools/fsys/LockFile.h"

// WhoCommand: fsys who FOLDER: which workstations are logged in there, and what crashes have left.
class WhoCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  struct Login {
    std::string workstation;
    bool isOwn = false;
    LockFile file;
  };
  struct Looked;

  void tell(const std::vector<Login>& logins);

  std::string folder_;
};
