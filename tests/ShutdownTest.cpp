#include "platform/Shutdown.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

std::string calls;
Shutdown::eExitType lastType;

void callA(Shutdown::eExitType type) {
  calls += 'a';
  lastType = type;
}
void callB(Shutdown::eExitType) { calls += 'b'; }
void callC(Shutdown::eExitType) { calls += 'c'; }
void addsB(Shutdown::eExitType) {
  calls += '+';
  Shutdown::addCallback(callB, 1000);
}

class ShutdownTest : public testing::Test {
protected:
  // What the library or an earlier test has registered runs now.
  void SetUp() override {
    Shutdown::run(Shutdown::eNormal);
    calls.clear();
  }
};

TEST_F(ShutdownTest, CallbacksRunFromTheHighestPriorityToTheLowest) {
  Shutdown::addCallback(callA, 201);
  Shutdown::addCallback(callB, 499);
  Shutdown::addCallback(callC, -1);
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(calls, "bac");
}

TEST_F(ShutdownTest, AmongEqualsTheLastRegisteredRunsFirst) {
  Shutdown::addCallback(callA, 5);
  Shutdown::addCallback(callB, 5);
  Shutdown::addCallback(callC, 5);
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(calls, "cba");
}

TEST_F(ShutdownTest, ACallbackRunsOnceAndIsForgotten) {
  Shutdown::addCallback(callA, 5);
  Shutdown::run(Shutdown::eNormal);
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(calls, "a");
}

TEST_F(ShutdownTest, TheExitTypeIsHandedOn) {
  Shutdown::addCallback(callA, 5);
  Shutdown::run(Shutdown::eAbort);
  EXPECT_EQ(lastType, Shutdown::eAbort);
}

TEST_F(ShutdownTest, ACallbackThatIsAddedByACallbackRunsInTheSameRun) {
  Shutdown::addCallback(callC, 1);
  Shutdown::addCallback(addsB, 2);
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(calls, "+bc");
}

TEST_F(ShutdownTest, ANullCallbackIsIgnored) {
  Shutdown::addCallback(nullptr, 5);
  Shutdown::run(Shutdown::eNormal);
  EXPECT_EQ(calls, "");
}

TEST_F(ShutdownTest, AProcessThatNeverRunsItHasItRunAtExit) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  auto endWithACallback = [] {
    Shutdown::addCallback([](Shutdown::eExitType) { std::fputs("ran at exit", stderr); }, 1);
    std::exit(3);
  };
  EXPECT_EXIT(endWithACallback(), testing::ExitedWithCode(3), "ran at exit");
}

}  // namespace
