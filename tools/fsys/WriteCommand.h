#pragma once

#include "tools/fsys/Command.h"
#include "tools/fsys/EngineFile.h"

class DurableFile;
class WriteStream;

// WriteCommand: fsys write FILE: writes standard input, or stamped sectors, through the engine.
// Kept       a file that ends up longer than what was written is told of, as padded, although the
//            engine pads only files that were given a write segment, which the tool's never are:
//            nobody's last sector may grow in silence should that change. So no test reaches the
//            sentence; that a file has exactly its bytes is tested.
class WriteCommand : public Command {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  void write(bool existed);
  void send(WriteStream& stream, uint64_t start, DurableFile* durable);
  void flush(WriteStream& stream, DurableFile& durable);
  void reportLine(const char* state, uint64_t end) const;
  void settleFailure(ToolError& error, EngineFile& file, WriteStream& stream, uint64_t start,
                     bool existed);
  void tell(const WriteStream& stream, const Meter& meter, uint64_t start, uint64_t size);

  std::string file_;
  uint64_t block_ = 0;
  unsigned inFlight_ = 0;
  bool pattern_ = false;
  uint64_t size_ = 0;
  bool haveSize_ = false;
  uint64_t seed_ = 0;
  bool truncate_ = false;
  uint64_t flushEvery_ = 0;  // 0: never
  bool report_ = false;
};
