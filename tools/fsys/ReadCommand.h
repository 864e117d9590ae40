#pragma once

#include "tools/fsys/Command.h"
#include "tools/fsys/EngineFile.h"

class PartFile;
class PlainFile;
class ReadStream;

// ReadCommand: fsys read FILE: streams a file and says how fast it came.
class ReadCommand : public Command {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;
  bool outputIsData() const override { return to_ == "-"; }

private:
  static void checkSize(const EngineFile& file, uint64_t size);
  void stream(EngineFile& file, uint64_t size, PlainFile* to);
  void tell(const EngineFile& file, const ReadStream& stream, const Meter& meter);

  std::string file_;
  uint64_t block_;
  unsigned inFlight_ = 0;
  uint64_t repeat_ = 1;
  std::string to_;
  bool force_ = false;
};
