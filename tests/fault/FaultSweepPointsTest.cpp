// A sweep itself: it goes through every call that is made, and finds a fault that never struck.

#include <gtest/gtest.h>

#include "platform/fake/FakeOSScope.h"
#include "tests/fault/FaultSweep.h"

namespace {

// Makes calls of one kind: so many in the first plays, and so many in those that follow.
class Asking final : public FaultPlay {
public:
  Asking(unsigned plays, unsigned first, unsigned later)
      : plays_(plays), first_(first), later_(later) {}

  std::string name() const override { return "Asking"; }
  bool goesOn() const override { return false; }
  FaultPlayed play(FaultLayer& layer, const Fault& fault, eUntil) override {
    const unsigned calls = played_++ < plays_ ? first_ : later_;
    layer.points().arm(isStruck ? fault : Fault{.nth = 0});
    for (unsigned i = 0; i < calls; ++i) {
      FaultWatch watch;
      (void)OS()->getFileManager()->exists(L"/a");
    }
    FaultPlayed played;
    played.note(layer.points());
    layer.points().disarm();
    return played;
  }

  bool isStruck = true;

private:
  const unsigned plays_;
  const unsigned first_;
  const unsigned later_;
  unsigned played_ = 0;
};

// With as many plays as come before the first fault.
class FaultSweepPointsTest : public testing::Test {
protected:
  static constexpr unsigned kBefore = 8;

  std::string findings(Asking& play) {
    FaultSweep sweep(layer_, play, FaultSweep::eOneOfEach, false);
    sweep.sweepAnyCall();
    points_ = sweep.points();
    return sweep.findings();
  }

  FakeOSScope os_;
  FaultLayer layer_;
  std::string points_;
};

TEST_F(FaultSweepPointsTest, EveryCallIsAPoint) {
  Asking play(kBefore, 5, 5);
  EXPECT_EQ(findings(play), "");
  EXPECT_EQ(points_, "Asking: 5 points: any 5");
}

TEST_F(FaultSweepPointsTest, AFaultThatNeverStruckIsFound) {
  Asking play(kBefore, 1, 1);
  play.isStruck = false;
  EXPECT_EQ(findings(play), "Asking, any 1, pick 0: it never struck\n");
}

TEST_F(FaultSweepPointsTest, WhereFewerCallsAreMadeThanBeforeItIsMeasuredAgain) {
  Asking play(kBefore, 5, 3);
  EXPECT_EQ(findings(play), "");
  EXPECT_EQ(points_, "Asking: 3 points: any 3");
}

}  // namespace
