// Every public operation of the engine, with the n-th call failing for every n.

#include "platform/fake/FakeOSScope.h"
#include "tests/fault/FaultSweepFixture.h"
#include "tests/support/ScratchFolder.h"

namespace {

class FaultSweepTest : public FaultSweepFixture {};

TEST_P(FaultSweepTest, OnTheFakeEveryCallMayFail) {
  FakeOSScope os;
  FaultLayer layer;
  FaultSweep sweep(layer, L"/m/", GetParam(), depth(), false);
  sweep.sweepCalls();
  tell(sweep);
}

TEST_P(FaultSweepTest, OnTheSystemEveryCallMayFail) {
  ScratchFolder folder;
  FaultLayer layer;
  FaultSweep sweep(layer, folder / "", GetParam(), depth(), true);
  sweep.sweepCalls();
  tell(sweep);
}

INSTANTIATE_TEST_SUITE_P(Scenarios, FaultSweepTest, testing::ValuesIn(faultScenarios()),
                         FaultSweepFixture::nameOf);

}  // namespace
