#include "platform/linux/DriveProbe.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <chrono>
#include <functional>
#include <future>
#include <new>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/LinuxThread.h"
#include "tests/support/TestErrand.h"
#include "tests/support/ThreadCount.h"

namespace {

constexpr unsigned kShort_ms = 50;
constexpr unsigned kLong_ms = 60000;  // only a failure waits so long

DriveProbe::Deadline in(unsigned ms) {
  return std::chrono::steady_clock::now() + std::chrono::milliseconds(ms);
}

// An errand that is under way until it is let go.
class Stay {
public:
  explicit Stay(DriveProbe& probe) : probe_(probe) {
    turn_ = probe.hand(TestErrand::of(
        [this] {
          begun_.set_value();
          over_.get_future().wait();
        },
        &gone_));
    begun_.get_future().wait();
  }
  ~Stay() {
    end();
    while (gone_ == 0) std::this_thread::yield();
  }
  Stay(const Stay&) = delete;
  Stay& operator=(const Stay&) = delete;

  void giveUp() { EXPECT_EQ(probe_.wait(turn_, in(0)), eOsTimedOut); }
  uint32_t wait() { return probe_.wait(turn_, in(kLong_ms)); }
  void end() {
    if (!std::exchange(isOver_, true)) over_.set_value();
  }

private:
  DriveProbe& probe_;
  std::promise<void> begun_;
  std::promise<void> over_;
  std::atomic<int> gone_{0};
  bool isOver_ = false;
  Qv::Ptr<DriveProbe::Turn> turn_;
};

class LinuxDriveProbeTest : public testing::Test {
protected:
  uint32_t run(std::function<void()> work, unsigned patience_ms = kLong_ms) {
    return probe_->run(TestErrand::of(std::move(work)), patience_ms);
  }
  // A late errand ends without telling anybody.
  void waitUntilItIsInUseAgain() {
    while (run([] {}) != 1) std::this_thread::yield();
  }

  Qv::Ptr<DriveProbe> probe_{new DriveProbe};
};

TEST_F(LinuxDriveProbeTest, AnErrandRunsOnAThreadOfItsOwnThatNoSignalReaches) {
  std::thread::id runner;
  std::array<char, 16> name = {};
  bool isBlocked = false;
  bool livesOn = true;
  EXPECT_EQ(run([&] {
              runner = std::this_thread::get_id();
              pthread_getname_np(pthread_self(), name.data(), name.size());
              sigset_t mask;
              pthread_sigmask(SIG_SETMASK, nullptr, &mask);
              isBlocked = sigismember(&mask, SIGTERM) == 1 && sigismember(&mask, SIGALRM) == 1;
              livesOn = isLongLivedThread();
            }),
            1u);
  EXPECT_NE(runner, std::this_thread::get_id());
  EXPECT_STREQ(name.data(), "fsys drive");
  EXPECT_TRUE(isBlocked);
  EXPECT_FALSE(livesOn) << "what is started from it would end with it";
}

TEST_F(LinuxDriveProbeTest, ItsThreadEndsWithTheLastErrand) {
  size_t before = ThreadCount::atRest();
  for (int i = 0; i < 20; ++i) EXPECT_EQ(run([] {}), 1u);
  EXPECT_TRUE(ThreadCount::returnsTo(before));
}

// Else the library could be unloaded under it.
TEST_F(LinuxDriveProbeTest, WhoWaitedForTheLastErrandHasWaitedForTheThreadToo) {
  struct Leaving {
    ~Leaving() {
      for (int i = 0; i < 1000; ++i) std::this_thread::yield();
      if (hasLeft) *hasLeft = true;
    }
    std::atomic<bool>* hasLeft = nullptr;
  };
  std::atomic<bool> hasLeft{false};
  auto watchTheThread = [&hasLeft] {
    thread_local Leaving leaving;
    leaving.hasLeft = &hasLeft;
  };
  EXPECT_EQ(run(watchTheThread), 1u);
  EXPECT_TRUE(hasLeft);
}

TEST_F(LinuxDriveProbeTest, AnErrandIsWaitedForUntilItsPatienceIsOverAndNotLess) {
  Stay stay(*probe_);
  double start = Qv::now();
  EXPECT_EQ(run([] { FAIL() << "another errand is under way"; }, kShort_ms), eOsTimedOut);
  EXPECT_GE(Qv::now() - start, double{kShort_ms});
}

TEST_F(LinuxDriveProbeTest, AnErrandThatIsUnderWayWhenItsPatienceIsOverGoesOnToItsEnd) {
  std::promise<void> begun;
  std::promise<void> over;
  std::promise<void> ended;
  double start = Qv::now();
  DriveProbe::Deadline deadline = in(kShort_ms);
  Qv::Ptr<DriveProbe::Turn> turn = probe_->hand(TestErrand::of([&] {
    begun.set_value();
    over.get_future().wait();
    ended.set_value();
  }));
  begun.get_future().wait();
  EXPECT_EQ(probe_->wait(turn, deadline), eOsTimedOut);
  EXPECT_GE(Qv::now() - start, double{kShort_ms});
  over.set_value();
  ended.get_future().wait();
  waitUntilItIsInUseAgain();
}

TEST_F(LinuxDriveProbeTest, ErrandsRunOneAfterTheOtherInTheOrderInWhichTheyCame) {
  constexpr int kErrands = 50;
  Stay stay(*probe_);
  std::atomic<int> under{0};
  std::vector<int> order;
  std::vector<Qv::Ptr<DriveProbe::Turn>> turns;
  turns.reserve(kErrands);
  for (int i = 0; i < kErrands; ++i)
    turns.push_back(probe_->hand(TestErrand::of([&, i] {
      EXPECT_EQ(++under, 1);
      order.push_back(i);
      --under;
    })));
  EXPECT_TRUE(order.empty()) << "one is under way";
  stay.end();
  for (const Qv::Ptr<DriveProbe::Turn>& turn : turns)
    EXPECT_EQ(probe_->wait(turn, in(kLong_ms)), 1u);
  ASSERT_EQ(order.size(), size_t{kErrands});
  for (int i = 0; i < kErrands; ++i) EXPECT_EQ(order[static_cast<size_t>(i)], i);
}

TEST_F(LinuxDriveProbeTest, NeverTwoAreUnderWayWhoeverAsks) {
  constexpr unsigned kThreads = 8;
  constexpr unsigned kEach = 200;
  std::atomic<int> under{0};
  std::atomic<unsigned> ran{0};
  std::vector<std::thread> askers;
  askers.reserve(kThreads);
  for (unsigned i = 0; i < kThreads; ++i)
    askers.emplace_back([&] {
      for (unsigned turn = 0; turn < kEach; ++turn)
        EXPECT_EQ(run([&] {
                    EXPECT_EQ(++under, 1);
                    --under;
                    ++ran;
                  }),
                  1u);
    });
  for (std::thread& asker : askers) asker.join();
  EXPECT_EQ(ran, kThreads * kEach);
}

TEST_F(LinuxDriveProbeTest, AnErrandWhoseTurnDoesNotComeInTimeNeverRunsAndTheOthersDo) {
  std::atomic<int> gone{0};
  std::atomic<bool> ran{false};
  Stay stay(*probe_);
  EXPECT_EQ(probe_->run(TestErrand::of([&] { ran = true; }, &gone), kShort_ms), eOsTimedOut);
  EXPECT_EQ(gone, 1) << "it is kept";
  Qv::Ptr<DriveProbe::Turn> patient = probe_->hand(TestErrand::of([] {}));
  stay.end();
  EXPECT_EQ(probe_->wait(patient, in(kLong_ms)), 1u);
  EXPECT_EQ(stay.wait(), 1u) << "who only waited for a turn makes no other errand late";
  EXPECT_FALSE(ran);
}

TEST_F(LinuxDriveProbeTest, WhileOneIsLateEveryOtherIsRefusedAtOnceWithoutAThread) {
  Stay stay(*probe_);
  stay.giveUp();
  size_t before = ThreadCount::atRest();
  std::atomic<int> gone{0};
  for (int i = 0; i < 1000; ++i)
    EXPECT_EQ(probe_->run(TestErrand::of([] { FAIL() << "it is refused"; }, &gone), kLong_ms),
              eOsTimedOut);
  EXPECT_EQ(gone, 1000);
  EXPECT_LE(ThreadCount::now(), before);
}

TEST_F(LinuxDriveProbeTest, WhoWaitsForATurnIsToldAtOnceThatTheOneUnderWayIsLate) {
  Stay stay(*probe_);
  auto waiter = std::async(std::launch::async,
                           [this] { return run([] { FAIL() << "it is refused"; }, kLong_ms); });
  Qv::Ptr<DriveProbe::Turn> another =
      probe_->hand(TestErrand::of([] { FAIL() << "it is refused"; }));
  stay.giveUp();
  EXPECT_EQ(waiter.get(), eOsTimedOut);
  EXPECT_EQ(probe_->wait(another, in(kLong_ms)), eOsTimedOut);
}

TEST_F(LinuxDriveProbeTest, WhenTheLateOneEndsTheDriveIsInUseAgain) {
  Stay stay(*probe_);
  stay.giveUp();
  EXPECT_EQ(run([] {}), eOsTimedOut);
  stay.end();
  waitUntilItIsInUseAgain();
  EXPECT_EQ(run([] {}), 1u);
}

TEST_F(LinuxDriveProbeTest, ALateErrandThatNobodyKnowsAnyMoreGoesWhereItEnds) {
  size_t before = ThreadCount::atRest();
  std::atomic<int> gone{0};
  std::promise<void> begun;
  std::promise<void> over;
  Qv::Ptr<DriveProbe::Turn> turn = probe_->hand(TestErrand::of(
      [&] {
        begun.set_value();
        over.get_future().wait();
      },
      &gone));
  begun.get_future().wait();
  EXPECT_EQ(probe_->wait(turn, in(0)), eOsTimedOut);
  turn.reset();
  probe_.reset();
  EXPECT_EQ(gone, 0);
  over.set_value();
  EXPECT_TRUE(ThreadCount::returnsTo(before));
  EXPECT_EQ(gone, 1);
}

TEST_F(LinuxDriveProbeTest, AnErrandThatRunsOutOfMemoryFailsWithThatAndTheNextOneRuns) {
  EXPECT_EQ(run([] { throw std::bad_alloc(); }), eOsNoMemory);
  EXPECT_EQ(run([] {}), 1u);
  EXPECT_EQ(DriveProbe::runHere(TestErrand::of([] { throw std::bad_alloc(); })), eOsNoMemory);
}

TEST_F(LinuxDriveProbeTest, AnErrandThatAsksItsOwnDriveIsAnsweredWhereItRuns) {
  uint32_t inner = 0;
  std::thread::id outerThread;
  std::thread::id innerThread;
  EXPECT_EQ(run([&] {
              outerThread = std::this_thread::get_id();
              inner = run([&] { innerThread = std::this_thread::get_id(); });
            }),
            1u);
  EXPECT_EQ(inner, 1u);
  EXPECT_EQ(innerThread, outerThread);
  uint32_t ofAnother = 0;
  Qv::Ptr<DriveProbe> other(new DriveProbe);
  EXPECT_EQ(run([&] {
              outerThread = std::this_thread::get_id();
              ofAnother = other->run(
                  TestErrand::of([&] { innerThread = std::this_thread::get_id(); }), kLong_ms);
            }),
            1u);
  EXPECT_EQ(ofAnother, 1u);
  EXPECT_NE(innerThread, outerThread);
}

TEST_F(LinuxDriveProbeTest, WhereNoThreadCanBeMadeItIsRefusedForWantOfMemory) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a process of its own: its address space is made too small for another stack.
  auto starve = [this] {
    rlimit before{};
    getrlimit(RLIMIT_AS, &before);
    rlimit none{0, before.rlim_max};
    auto mustNotRun = TestErrand::of([] { _exit(2); });
    auto may = TestErrand::of([] {});
    setrlimit(RLIMIT_AS, &none);
    uint32_t refused = probe_->run(mustNotRun, kLong_ms);
    setrlimit(RLIMIT_AS, &before);
    _exit(refused == eOsNoMemory && probe_->run(may, kLong_ms) == 1 ? 0 : 1);
  };
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static_cast<void>(starve);
  GTEST_SKIP() << "a sanitizer needs address space of its own";
#else
  EXPECT_EXIT(starve(), testing::ExitedWithCode(0), "");
#endif
}

TEST_F(LinuxDriveProbeTest, AForkedChildDoesNotWaitForItsParentsErrands) {
#if defined(__SANITIZE_THREAD__)
  GTEST_SKIP() << "the thread sanitizer makes no threads in a forked process";
#endif
  constexpr unsigned kChildLives_s = 30;
  for (bool isLate : {false, true}) {
    Stay stay(*probe_);
    auto waiting = probe_->hand(TestErrand::of([] {}));
    if (isLate) stay.giveUp();
    pid_t child = fork();
    if (child == 0) {
      alarm(kChildLives_s);
      bool runs = run([] {}) == 1 && run([] {}) == 1;
      _exit(runs ? 7 : 8);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 7) << "status " << status;
    stay.end();
    EXPECT_EQ(probe_->wait(waiting, in(kLong_ms)), isLate ? uint32_t{eOsTimedOut} : 1u);
    waitUntilItIsInUseAgain();
  }
}

}  // namespace
