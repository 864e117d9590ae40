#pragma once

#include <memory>
#include <vector>

#include "tools/fsys/demo/DemoShow.h"

// DemoStream: shots that are played and recorded at once, each by a thread of its own.
// Story      All of them begin together, or none does.
// Errors     run throws the first failure, once every thread has ended.
class DemoStream {
public:
  void add(std::unique_ptr<DemoShow> show) { shows_.push_back(std::move(show)); }
  void run();

  const std::vector<std::unique_ptr<DemoShow>>& shows() const { return shows_; }
  DemoFigures total() const;
  double time_ms() const { return time_ms_; }
  // Of the process, for a megabyte, without what the checking took; in microseconds.
  double cpuPerMb_us() const;

private:
  std::vector<std::unique_ptr<DemoShow>> shows_;
  double time_ms_ = 0;
  double cpu_ms_ = 0;
};
