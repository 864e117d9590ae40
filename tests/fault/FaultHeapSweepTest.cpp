// Every public operation of the engine, with the n-th allocation refused for every n.

#include "tests/fault/EnginePlay.h"
#include "tests/fault/FaultSweepFixture.h"
#include "tests/support/ScratchFolder.h"

namespace {

class FaultHeapSweepTest : public FaultSweepFixture<FaultScenario> {};

TEST_P(FaultHeapSweepTest, OnTheSystemEveryAllocationMayBeRefused) {
  ScratchFolder folder;
  FaultLayer layer;
  if (!layer.seesAllocations())
    GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  EnginePlay play(folder / "", GetParam());
  FaultSweep sweep(layer, play, depth(), true);
  sweep.sweepAllocations();
  tell(sweep);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultHeapSweepTest, testing::ValuesIn(faultScenarios()),
                         FaultHeapSweepTest::nameOf);

}  // namespace
