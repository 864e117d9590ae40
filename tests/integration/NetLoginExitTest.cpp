// A process that ends while it is logged in, and while threads log in and out.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <thread>

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"

namespace {

constexpr unsigned kThreads = 4;
constexpr unsigned kTurns = 200;
constexpr unsigned kTurnsAfterTheEnd = 1000;
// A process that does not end by itself ends by this, with a signal.
constexpr unsigned kProcessLives_s = 60;

// What runs when every static object has gone. Empty: nothing.
void (*afterTheEnd)() = nullptr;

__attribute__((destructor)) void runAfterTheEnd() {
  if (afterTheEnd) afterTheEnd();
}

// Where the child logs in; never destroyed.
const LightweightString<wchar_t>* place = nullptr;
std::atomic<unsigned> turns{0};

void logInAndOutForEver() {
  for (;; turns.fetch_add(1)) {
    NetLogin(*place);
    NetLogout();
  }
}

void waitForTurns(unsigned count) {
  const unsigned until = turns.load() + count;
  while (turns.load() < until) std::this_thread::yield();
}

// Each body runs in a process of its own.
class NetLoginExitDeathTest : public testing::Test {
protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  void begin(void (*then)()) const {
    alarm(kProcessLives_s);
    afterTheEnd = then;
    place = new LightweightString<wchar_t>(folder_ / "");
  }

  ScratchFolder folder_;
};

bool isThere() { return OS()->getFileManager()->exists(getNetLoginLockFileName(*place)); }

TEST_F(NetLoginExitDeathTest, ItWorksWhenEveryStaticObjectHasGone) {
  auto body = [this] {
    begin([] {
      if (lockFilehandle || !isThere()) _exit(95);  // it was let go of, as in a crash
      if (NetLogout() != 1 || isThere()) _exit(96);
      if (NetLogin(*place) != 1 || !lockFilehandle || !isThere()) _exit(97);
    });
    std::exit(NetLogin(*place) == 1 && lockFilehandle ? 41 : 98);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(41), "");
}

TEST_F(NetLoginExitDeathTest, ThreadsMayLogInAndOutUntilTheProcessHasEnded) {
  auto body = [this] {
    begin([] { waitForTurns(kTurnsAfterTheEnd); });
    for (unsigned thread = 0; thread < kThreads; ++thread)
      std::thread(&logInAndOutForEver).detach();
    waitForTurns(kTurns);
    std::exit(42);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(42), "");
}

}  // namespace
