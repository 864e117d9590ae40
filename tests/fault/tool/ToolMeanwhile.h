#pragma once

#include <atomic>
#include <csignal>

#include "tests/fault/FaultPause.h"
#include "tests/fault/tool/ToolScenario.h"
#include "tests/support/ForwardingOS.h"

// ToolMeanwhile: for a command that waits and looks again until it is interrupted: in a scope no
// wait of it takes any time, and while it waits something happens, and then the interruption comes.
// Story      Whoever reads the clock twice and asks the files for nothing in between waits: at the
//            second reading it is over. A wait is at most four times as long as the work before it,
//            or what the options say, so each takes five times as long as all that was.
// Threads    the command's, and those of drives.
class ToolMeanwhile final : public ForwardingOS, private iClock {
public:
  ToolMeanwhile(const ToolScenario& scenario, const ToolStage& stage)
      : scenario_(scenario), stage_(stage) {}

  iFileManager* getFileManager() override {
    hasRead_ = false;
    return ForwardingOS::getFileManager();
  }
  iClock* getClock() override { return this; }

private:
  // By then it has begun to wait; the rest is for a look and more in between.
  static constexpr unsigned kHappens = 12;
  static constexpr unsigned kInterrupted = 18;
  static constexpr double kBegin_ms = 1000;
  static constexpr double kLonger = 6;

  double now_ms() const override {
    if (!hasRead_.exchange(true)) return now_ms_;
    FaultPause own;
    now_ms_ = now_ms_ * kLonger;
    if (++waits_ == kHappens) scenario_.meanwhile(stage_);
    if (waits_ == kInterrupted) std::raise(SIGINT);
    return now_ms_;
  }

  const ToolScenario& scenario_;
  const ToolStage& stage_;
  mutable std::atomic<bool> hasRead_{false};
  mutable std::atomic<unsigned> waits_{0};
  mutable std::atomic<double> now_ms_{kBegin_ms};
};
