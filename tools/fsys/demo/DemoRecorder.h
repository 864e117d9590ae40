#pragma once

#include <cstdint>
#include <exception>
#include <string>

#include "tools/fsys/demo/DemoTrack.h"

// DemoRecorder: records a file picture by picture while the tracks play: at each turn it takes the
// next bytes of its source, as a camera would give them, and writes them through the engine.
// Threads    run: a thread of its own; the rest after that has ended.
// Errors     run keeps its failure for rethrow().
class DemoRecorder {
public:
  DemoRecorder(const std::string& file, const std::string& source, uint64_t pictures);

  void run(const DemoClock& clock) noexcept;
  void rethrow() const;

  const std::string& name() const { return name_; }
  const DemoFigures& figures() const { return figures_; }

private:
  void record(const DemoClock& clock);

  std::string name_;
  PlainFile source_;
  uint64_t size_;
  uint32_t picture_bytes_;
  DemoFigures figures_;
  std::exception_ptr failure_;
};
