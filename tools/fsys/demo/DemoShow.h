#pragma once

#include <cstdint>
#include <exception>
#include <memory>
#include <string>
#include <vector>

#include "tools/fsys/demo/DemoChannel.h"
#include "tools/fsys/demo/DemoClock.h"

// DemoShow: a shot that is played, or recorded: at each picture's turn all of its channels.
// Threads    run: a thread of its own; the rest before and after that.
// Errors     prepare throws; run keeps its failure for rethrow().
class DemoShow {
public:
  DemoShow(std::string what, std::string shot, uint64_t pictures);

  void add(std::unique_ptr<DemoChannel> channel) { channels_.push_back(std::move(channel)); }
  void prepare();
  void run(const DemoClock& clock) noexcept;
  void rethrow() const;

  const std::string& what() const { return what_; }  // "play", "scrub" or "record"
  const std::string& shot() const { return shot_; }
  const DemoFigures& figures() const { return figures_; }

private:
  void takeAll(const DemoClock& clock);

  std::string what_;
  std::string shot_;
  uint64_t pictures_;
  std::vector<std::unique_ptr<DemoChannel>> channels_;
  DemoFigures figures_;
  std::exception_ptr failure_;
};
