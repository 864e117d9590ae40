#include "platform/Check.h"

#include <gtest/gtest.h>

#include "tests/support/CapturedDiagnostics.h"

TEST(CheckTest, AFailedCheckPrintsItsConditionAndPlaceAndAnswersFalse) {
  CapturedDiagnostics captured;
  int depth = 3;
  bool answer = FSYS_CHECK(depth == 4, "fsys/FileRequest line 59");
  EXPECT_FALSE(answer);
  EXPECT_EQ(captured.out, "assertion failed depth == 4 at fsys/FileRequest line 59\n");
}

TEST(CheckTest, ACheckThatHoldsPrintsNothingAndAnswersTrue) {
  CapturedDiagnostics captured;
  EXPECT_TRUE(FSYS_CHECK(1 + 1 == 2, "here"));
  EXPECT_EQ(captured.out, "");
}

TEST(CheckTest, AnInvariantThatHoldsIsEvaluatedOnceAndSaysNothing) {
  CapturedDiagnostics captured;
  int evaluated = 0;
  FSYS_INVARIANT(++evaluated == 1);
  EXPECT_EQ(evaluated, 1);
  EXPECT_EQ(captured.log, "");
}

TEST(CheckTest, ABrokenInvariantAbortsOrIsLoggedAsTheBuildSays) {
#ifdef FSYS_ABORT_ON_INVARIANT
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(FSYS_INVARIANT(1 > 2), "broken invariant 1 > 2 at .*CheckTest.cpp line");
#else
  CapturedDiagnostics captured;
  FSYS_INVARIANT(1 > 2);
  EXPECT_NE(captured.log.find("broken invariant 1 > 2"), std::string::npos);
#endif
}
