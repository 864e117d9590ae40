// The login of a workstation, with the n-th call failing, or the n-th allocation refused, for every
// n.

#include "platform/fake/FakeOSScope.h"
#include "tests/fault/FaultSweepFixture.h"
#include "tests/fault/LoginPlay.h"
#include "tests/support/ScratchFolder.h"

namespace {

class LoginSweepTest : public testing::Test {
protected:
  static void tell(const FaultSweep& sweep) {
    std::cout << sweep.points() << std::endl;
    EXPECT_EQ(sweep.findings(), "");
  }
};

TEST_F(LoginSweepTest, OnTheFakeEveryCallMayFail) {
  FakeOSScope os;
  os->files().addFolder(L"/m");
  os->files().addFolder(L"/n");
  FaultLayer layer;
  LoginPlay play(L"/m", L"/n");
  FaultSweep sweep(layer, play, FaultSweep::eAll, false);
  sweep.sweepCalls();
  tell(sweep);
}

TEST_F(LoginSweepTest, OnTheSystemEveryCallMayFailAndEveryAllocationBeRefused) {
  ScratchFolder first;
  ScratchFolder second;
  FaultLayer layer;
  LoginPlay play(first / "", second / "");
  FaultSweep sweep(layer, play, FaultSweep::eAll, true);
  sweep.sweepCalls();
  if (layer.seesAllocations()) sweep.sweepAllocations();
  tell(sweep);
}

}  // namespace
