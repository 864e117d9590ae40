#pragma once

#include "tools/fsys/Command.h"

// VerifyCommand: fsys verify FILE: writes stamped sectors, closes the file, reads them back and
// looks at every byte.
class VerifyCommand : public Command {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  void makeFile();
  void writeStamps();
  // Whether there was one.
  bool removeUnfinished() const;
  void readBack();

  std::string file_;
  uint64_t size_ = 0;
  bool haveSize_ = false;
  uint64_t seed_ = 0;
  uint64_t block_ = 0;
  unsigned inFlight_ = 0;
  bool checkOnly_ = false;
  bool force_ = false;
  bool remove_ = false;
};
