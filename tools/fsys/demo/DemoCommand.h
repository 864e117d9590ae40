#pragma once

#include <memory>
#include <vector>

#include "tools/fsys/Command.h"
#include "tools/fsys/demo/DemoRecorder.h"
#include "tools/fsys/demo/DemoTrack.h"

// DemoCommand: fsys demo: an editor's evening in a few seconds: media is copied in, four tracks
// play while a fifth is recorded, and every byte is compared with its source.
class DemoCommand : public Command {
protected:
  CLI::App* define(CLI::App& app) override;
  ExitCode execute() override;

private:
  using Tracks = std::vector<std::unique_ptr<DemoTrack>>;
  // Removes what the demo made, however it ends.
  class Leftovers;

  void copyIn();
  void stream(Leftovers& leftovers);
  void playAll(Tracks& tracks, DemoRecorder& recorder);
  void checkWhole(const std::string& file, const std::string& source);
  void tell(const Tracks& tracks, const DemoRecorder& recorder);
  void tellRow(const std::string& what, const std::string& file, const DemoFigures& figures);
  void tellTotals(const DemoFigures& total);

  std::vector<std::string> media_;
  std::vector<std::string> copies_;
  std::string work_ = ".";
  double seconds_ = 8;
  bool keep_ = false;

  uint64_t copied_bytes_ = 0;
  double copy_ms_ = 0;
  double streaming_ms_ = 0;
  double streamingCpu_ms_ = 0;
  uint64_t checked_bytes_ = 0;
};
