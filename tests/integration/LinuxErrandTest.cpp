// Errands of a completion handler's waiting thread.

#include <gtest/gtest.h>
#include <pthread.h>

#include <cstring>
#include <functional>
#include <future>
#include <string>
#include <thread>

#include "platform/OS.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsyncTester.h"

namespace {

class Errand final : public iTask {
public:
  explicit Errand(std::function<void()> work) : work_(std::move(work)) {}
  void run() override { work_(); }

private:
  std::function<void()> work_;
};

Qv::Ptr<iTask> errand(std::function<void()> work) {
  return Qv::Ptr<iTask>(new Errand(std::move(work)));
}

class LinuxErrandTest : public LinuxFileFixture {
protected:
  void SetUp() override {
    iAsyncIo::Description port = OS()->getAsyncIo()->describe();
    if (!port.ring) GTEST_SKIP() << "no ring here: " << port.why;
  }
  // The handler's thread goes on to wait as soon as it has nothing else to do.
  static void send(AsyncTester& tester) {
    while (!tester.handler()->sendOnErrand()) std::this_thread::yield();
  }
};

TEST_F(LinuxErrandTest, AWaitingHandlersThreadRunsIt) {
  AsyncTester tester("errands");
  std::promise<std::string> name;
  tester.handler()->setErrand(errand([&] {
    char own[16] = {};
    pthread_getname_np(pthread_self(), own, sizeof(own));
    name.set_value(own);
  }));
  send(tester);
  EXPECT_EQ(name.get_future().get(), "errands");
}

TEST_F(LinuxErrandTest, EachRunThatIsAskedForComesAfterTheAsking) {
  AsyncTester tester;
  std::atomic<unsigned> asked{0};
  std::atomic<unsigned> seen{0};
  tester.handler()->setErrand(errand([&] { seen = asked.load(); }));
  for (unsigned turn = 1; turn <= 5000; ++turn) {
    asked = turn;
    send(tester);
    while (seen < turn) std::this_thread::yield();
  }
}

TEST_F(LinuxErrandTest, WhatItStartsGoesToTheSystemAndIsReported) {
  folder_.put("clip", pattern(4096));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip", Manager::eModeDirect | Manager::eModeAsync);
  AsyncTester tester;
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  AsyncTester::Request request(4096);
  tester.handler()->setErrand(errand([&] { tester.read(file, request, 0); }));
  send(tester);
  tester.waitFor(1);
  EXPECT_EQ(request.bytes, 4096u);
}

TEST_F(LinuxErrandTest, AThreadInTheMiddleOfACommandIsNotSent) {
  folder_.put("clip", pattern(4096));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip", Manager::eModeDirect | Manager::eModeAsync);
  AsyncTester tester;
  std::atomic<int> runs{0};
  tester.handler()->setErrand(errand([&] { ++runs; }));
  ASSERT_EQ(file->attach(tester.handler()), 1u);
  AsyncTester::Gate gate;
  AsyncTester::Request request(4096);
  request.then = [&](AsyncTester::Request&) { gate.pass(); };
  ASSERT_EQ(tester.read(file, request, 0), 1u);
  gate.waitUntilSomebodyIsThere();
  EXPECT_FALSE(tester.handler()->sendOnErrand());
  gate.open();
  tester.waitFor(1);
  EXPECT_EQ(runs, 0);
  send(tester);
  while (runs == 0) std::this_thread::yield();
}

TEST_F(LinuxErrandTest, TakingItAwayWaitsUntilItHasRun) {
  AsyncTester tester;
  AsyncTester::Gate gate;
  std::atomic<bool> isOver{false};
  tester.handler()->setErrand(errand([&] {
    gate.pass();
    isOver = true;
  }));
  send(tester);
  gate.waitUntilSomebodyIsThere();
  auto taking = std::async(std::launch::async, [&] {
    tester.handler()->setErrand(nullptr);
    return isOver.load();
  });
  gate.open();
  EXPECT_TRUE(taking.get());
}

using LinuxThreadsErrandTest = LinuxFileFixture;

TEST_F(LinuxThreadsErrandTest, AHandlerOfThreadsHasNoneToSend) {
  ScopedEnvironment choice("FSYS_IO", "threads");
  AsyncTester tester;
  tester.handler()->setErrand(errand([] {}));
  EXPECT_FALSE(tester.handler()->sendOnErrand());
}

}  // namespace
