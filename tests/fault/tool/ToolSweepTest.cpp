// Every command of the tool, with the n-th call or the n-th allocation failing for every n.

#include <signal.h>

#include "tests/fault/FaultSweepFixture.h"
#include "tests/fault/tool/ToolPlay.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/ScratchFolder.h"

namespace {

// ToolSweepTest: what the tool makes of this process's signals is taken back.
class ToolSweepTest : public FaultSweepFixture<ToolScenario> {
protected:
  ToolSweepTest() {
    for (size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], nullptr, &before_[i]);
  }
  ~ToolSweepTest() override {
    for (size_t i = 0; i < std::size(kSignals); ++i) sigaction(kSignals[i], &before_[i], nullptr);
  }

  static constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGPIPE};
  struct sigaction before_[std::size(kSignals)];
  OwnMounts own_;
  ScratchFolder folder_;
};

TEST_P(ToolSweepTest, EveryCallMayFail) {
  FaultLayer layer;
  ToolPlay play(folder_.path(), GetParam());
  FaultSweep sweep(layer, play, depth(), true);
  sweep.sweepCalls();
  tell(sweep);
}

TEST_P(ToolSweepTest, EveryAllocationMayBeRefused) {
  FaultLayer layer;
  if (!layer.seesAllocations())
    GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  ToolPlay play(folder_.path(), GetParam());
  FaultSweep sweep(layer, play, depth(), true);
  sweep.setStep(soakTurns(GetParam().asksTheRegistry ? 31 : 13, 1));
  sweep.sweepAllocations();
  tell(sweep);
}

INSTANTIATE_TEST_SUITE_P(Commands, ToolSweepTest, testing::ValuesIn(toolScenarios()),
                         ToolSweepTest::nameOf);

// Each play of it takes a second.
class ToolDemoSweepTest : public ToolSweepTest {};

TEST_P(ToolDemoSweepTest, EveryCallMayFailAndEveryAllocationBeRefused) {
  FaultLayer layer;
  ToolPlay play(folder_.path(), GetParam());
  FaultSweep sweep(layer, play, FaultSweep::eOneOfEach, true);
  if (isSoaking()) {
    sweep.sweepCalls();
  } else {
    sweep.setStep(113);
    sweep.sweepAnyCall();
  }
  sweep.setStep(soakTurns(211, 1));
  if (layer.seesAllocations()) sweep.sweepAllocations();
  tell(sweep);
}

INSTANTIATE_TEST_SUITE_P(Commands, ToolDemoSweepTest, testing::Values(toolDemoScenario()),
                         ToolDemoSweepTest::nameOf);

}  // namespace
