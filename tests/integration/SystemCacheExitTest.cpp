// A process that ends while threads are at work in the catalogue.

#include <gtest/gtest.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <set>
#include <thread>
#include <vector>

#include "fsys/SystemCache.h"

namespace {

constexpr unsigned kThreads = 8;
constexpr unsigned kCookies = 256;
constexpr unsigned kTurnsAfterTheEnd = 10'000;
// A process that does not end by itself ends by this, with a signal.
constexpr unsigned kProcessLives_s = 60;

// What runs when every static object has gone. Empty: nothing.
void (*afterTheEnd)() = nullptr;

__attribute__((destructor)) void runAfterTheEnd() {
  if (afterTheEnd) afterTheEnd();
}

Cookie cookieOf(unsigned turn) {
  return convertCookie(Cookie(L"V4K7Q2M9A00"), eCookieVision,
                       static_cast<uint8_t>(turn % kCookies));
}

bool addsAndFinds(unsigned turn) {
  const Cookie cookie = cookieOf(turn);
  SystemCache::addFile(cookie, {MaterialFilename(DriveId('1'), L"/Material/a.mov"), 1000}, true);
  return SystemCache::fileSize(cookie) == 1000;
}

std::atomic<unsigned> turns{0};

void lookForEver() {
  for (;; turns.fetch_add(1)) SystemCache::findEntryForCookie(cookieOf(turns.load()));
}

void addForEver() {
  for (;; turns.fetch_add(1)) addsAndFinds(turns.load());
}

void waitForTurns() {
  const unsigned until = turns.load() + kTurnsAfterTheEnd;
  while (turns.load() < until) std::this_thread::yield();
}

struct Guest : iCallbackBase<int, NotifyMsg> {
  ~Guest() override {
    SystemCache::instance().remove(SystemCache::fileAddedMsgType_, Notifier::Listener());
  }
  int callback(NotifyMsg) override { return 0; }
};

// Each body runs in a process of its own.
class SystemCacheExitDeathTest : public testing::Test {
protected:
  void SetUp() override { GTEST_FLAG_SET(death_test_style, "threadsafe"); }

  static void begin(void (*then)()) {
    alarm(kProcessLives_s);
    afterTheEnd = then;
    for (unsigned turn = 0; turn < kCookies; ++turn) addsAndFinds(turn);
    SystemCache::instance().add(SystemCache::fileAddedMsgType_, Notifier::Listener(new Guest));
  }
};

TEST_F(SystemCacheExitDeathTest, ItWorksWhenEveryStaticObjectHasGone) {
  auto body = [] {
    begin([] {
      SystemCache::instance().add(SystemCache::fileAddedMsgType_, Notifier::Listener(new Guest));
      if (SystemCache::findEntryForCookie(cookieOf(0))) _exit(98);  // they were let go of
      if (!addsAndFinds(0) || !SystemCache::invalidate()) _exit(97);
    });
    std::exit(41);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(41), "");
}

TEST_F(SystemCacheExitDeathTest, ThreadsMayBeAtWorkInItUntilTheProcessHasEnded) {
  auto body = [] {
    begin(&waitForTurns);
    for (unsigned thread = 0; thread < 2; ++thread) std::thread(&lookForEver).detach();
    for (unsigned thread = 0; thread < 2; ++thread) std::thread(&addForEver).detach();
    waitForTurns();
    std::exit(42);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(42), "");
}

TEST_F(SystemCacheExitDeathTest, WhoHoldsItForEverDoesNotKeepTheProcessFromEnding) {
  auto body = [] {
    begin(nullptr);
    std::thread([] {
      SystemCache::enumerate([](const Cookie&, const FsysDirectoryEntry&) {
        turns.store(1);
        for (;;) pause();
        return true;
      });
    }).detach();
    while (turns.load() == 0) std::this_thread::yield();
    std::exit(43);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(43), "");
}

TEST_F(SystemCacheExitDeathTest, ThreadsThatNeedTheInstanceFirstAllGetTheSame) {
  auto body = [] {
    std::atomic<unsigned> ready{0};
    std::vector<SystemCache*> seen(kThreads);
    std::vector<std::thread> threads;
    for (unsigned i = 0; i < kThreads; ++i)
      threads.emplace_back([&ready, &place = seen[i]] {
        ready.fetch_add(1);
        while (ready.load() < kThreads) std::this_thread::yield();
        place = &SystemCache::instance();
      });
    for (std::thread& thread : threads) thread.join();
    std::exit(std::set<SystemCache*>(seen.begin(), seen.end()).size() == 1 ? 44 : 96);
  };
  EXPECT_EXIT(body(), testing::ExitedWithCode(44), "");
}

}  // namespace
