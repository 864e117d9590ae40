#pragma once

#include "tools/fsys/Command.h"

// DoctorCommand: fsys doctor [PATH]: what this machine, and the drive behind a path, allow.
class DoctorCommand : public Command {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  void tellTransport();
  void tellMachine();
  void tellLimits();
  void tellPath();
  void line(const std::string& what, const std::string& how) const;

  std::string path_ = ".";
};
