// Every public operation of the engine, with the n-th call failing for every n.

#include "platform/fake/FakeOSScope.h"
#include "tests/fault/EnginePlay.h"
#include "tests/fault/FaultSweepFixture.h"
#include "tests/support/ScratchFolder.h"

namespace {

class FaultSweepTest : public FaultSweepFixture<FaultScenario> {};

TEST_P(FaultSweepTest, OnTheFakeEveryCallMayFail) {
  FakeOSScope os;
  os->files().addFolder(L"/m");
  FaultLayer layer;
  EnginePlay play(L"/m/", GetParam());
  FaultSweep sweep(layer, play, depth(), false);
  sweep.sweepCalls();
  tell(sweep);
}

TEST_P(FaultSweepTest, OnTheSystemEveryCallMayFail) {
  ScratchFolder folder;
  FaultLayer layer;
  EnginePlay play(folder / "", GetParam());
  FaultSweep sweep(layer, play, depth(), true);
  sweep.sweepCalls();
  tell(sweep);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweepTest, testing::ValuesIn(faultScenarios()),
                         FaultSweepTest::nameOf);

}  // namespace
