#include "platform/linux/LinuxThreads.h"

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <latch>
#include <memory>
#include <set>
#include <string>
#include <thread>
#include <vector>

#include "platform/OS.h"
#include "platform/linux/LinuxThreadTable.h"
#include "tests/support/SystemCallFilter.h"

namespace {

using Event = Qv::Ptr<iThreadEvent>;

Event makeEvent() { return OS()->getThreads()->createEvent(0, 0, 0); }

// What a thread sees of itself.
struct Seen {
  std::string name;
  bool allSignalsBlocked = false;
  bool longLived = false;
};

Seen lookAround() {
  Seen seen;
  char name[16] = {};
  pthread_getname_np(pthread_self(), name, sizeof name);
  seen.name = name;
  sigset_t mask;
  pthread_sigmask(SIG_SETMASK, nullptr, &mask);
  seen.allSignalsBlocked = true;
  // KILL and STOP cannot be blocked, and the C library keeps two of the others to itself.
  for (int signal = 1; signal <= SIGRTMAX; ++signal)
    if (signal != SIGKILL && signal != SIGSTOP && (signal < 32 || signal >= SIGRTMIN))
      seen.allSignalsBlocked = seen.allSignalsBlocked && sigismember(&mask, signal) == 1;
  seen.longLived = isLongLivedThread();
  return seen;
}

unsigned lookAroundThread(void* seen) {
  *static_cast<Seen*>(seen) = lookAround();
  return 0;
}

unsigned waitForEvent(void* event) {
  static_cast<iThreadEvent*>(event)->wait(iThreadEvent::kForever);
  return 0;
}

unsigned doNothing(void*) { return 0; }

// A task that calls a function and says when it has been destroyed.
class Task final : public iTask {
public:
  Task(std::function<void()> work, std::atomic<int>& destroyed)
      : work_(std::move(work)), destroyed_(destroyed) {}
  ~Task() override { ++destroyed_; }
  void run() override { work_(); }

private:
  std::function<void()> work_;
  std::atomic<int>& destroyed_;
};

// Set by a waiter that has been caught on its way to sleep.
std::atomic<bool> caught{false};

void stayCaught(int) {
  caught = true;
  for (;;) pause();
}

// Waits, and is caught by the system as it asks for sleep: a waiter that takes no signal away.
void waitAndBeCaught(const Event& event) {
  if (SystemCallFilter::trap(SYS_futex)) event->wait(iThreadEvent::kForever);
}

// For a process of its own: signals an event that somebody waits for, first when it is not yet
// signalled, then again where asking the system to wake somebody is deadly.
void signalTwice(bool allowFirst) {
  struct sigaction action = {};
  action.sa_handler = stayCaught;
  sigaction(SIGSYS, &action, nullptr);
  Event event = makeEvent();
  std::thread(waitAndBeCaught, event).detach();
  while (!caught) std::this_thread::yield();
  if (allowFirst) event->signal();
  if (!SystemCallFilter::kill(SYS_futex)) _exit(1);
  for (int i = 0; i < 1000; ++i) event->signal();
  _exit(0);
}

}  // namespace

TEST(LinuxEventTest, ASignalOfASignalledEventMakesNoSystemCallThoughSomebodyWaits) {
  if (!SystemCallFilter::isAllowed())
    GTEST_SKIP() << "a process may not filter its system calls here";
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_EXIT(signalTwice(true), testing::ExitedWithCode(0), "");
  // The filter does catch the call: an event that is not signalled needs it.
  EXPECT_EXIT(signalTwice(false), testing::KilledBySignal(SIGSYS), "");
}

TEST(LinuxEventTest, OneSignalEndsOneWait) {
  Event event = makeEvent();
  EXPECT_FALSE(event->wait(0));
  event->signal();
  EXPECT_TRUE(event->wait(0));
  EXPECT_FALSE(event->wait(0));
}

TEST(LinuxEventTest, SignalsOfASignalledEventDoNotAddUp) {
  Event event = makeEvent();
  event->signal();
  event->signal();
  EXPECT_TRUE(event->wait(iThreadEvent::kForever));
  EXPECT_FALSE(event->wait(0));
}

TEST(LinuxEventTest, ResetTakesTheSignalAway) {
  Event event = makeEvent();
  event->signal();
  event->reset();
  EXPECT_FALSE(event->wait(0));
}

TEST(LinuxEventTest, AWaitEndsWhenItsTimeHasPassedAndNotBefore) {
  Event event = makeEvent();
  double start = Qv::now();
  EXPECT_FALSE(event->wait(20));
  EXPECT_GE(Qv::now() - start, 20.0);
}

TEST(LinuxEventTest, TwoThreadsHandATokenToAndFro20000Times) {
  Event ping = makeEvent();
  Event pong = makeEvent();
  constexpr int kRounds = 20000;
  int token = 0;
  std::thread other([&] {
    for (int i = 0; i < kRounds; ++i) {
      ping->wait(iThreadEvent::kForever);
      ++token;
      pong->signal();
    }
  });
  bool inStep = true;
  for (int i = 0; i < kRounds; ++i) {
    ping->signal();
    pong->wait(iThreadEvent::kForever);
    inStep = inStep && token == i + 1;
  }
  other.join();
  EXPECT_TRUE(inStep);
}

TEST(LinuxEventTest, EverySignalReachesAWaiterWhenEachWaitsForItsOwn) {
  Event event = makeEvent();
  Event taken = makeEvent();
  constexpr int kWaiters = 4;
  std::vector<std::thread> waiters;
  for (int i = 0; i < kWaiters; ++i)
    waiters.emplace_back([&] {
      event->wait(iThreadEvent::kForever);
      taken->signal();
    });
  for (int i = 0; i < kWaiters; ++i) {
    event->signal();
    ASSERT_TRUE(taken->wait(iThreadEvent::kForever));
  }
  for (std::thread& waiter : waiters) waiter.join();
  EXPECT_FALSE(event->wait(0));
}

TEST(LinuxThreadsTest, AThreadHasItsNameCutTo15CharactersBlocksEverySignalAndIsLongLived) {
  Seen seen;
  uint32_t id = co_create(lookAroundThread, "fsys poll and more", 0, &seen, 1, 0);
  ASSERT_NE(id, 0u);
  co_kill(id);
  EXPECT_EQ(seen.name, "fsys poll and m");
  EXPECT_TRUE(seen.allSignalsBlocked);
  EXPECT_TRUE(seen.longLived);
  EXPECT_FALSE(isLongLivedThread());
}

TEST(LinuxThreadsTest, StartingAThreadLeavesTheCallersSignalsAlone) {
  sigset_t before;
  sigset_t after;
  pthread_sigmask(SIG_SETMASK, nullptr, &before);
  co_kill(co_create(doNothing, "quick", 0, nullptr, 1, 0));
  pthread_sigmask(SIG_SETMASK, nullptr, &after);
  for (int signal = 1; signal < 32; ++signal)
    EXPECT_EQ(sigismember(&before, signal), sigismember(&after, signal)) << signal;
}

TEST(LinuxThreadsTest, KillReturnsOnlyWhenTheThreadHasLeftItsFunction) {
  struct Shared {
    Event go = makeEvent();
    std::atomic<bool> left{false};
  } shared;
  auto entry = [](void* told) -> unsigned {
    auto* mine = static_cast<Shared*>(told);
    mine->go->wait(iThreadEvent::kForever);
    for (int i = 0; i < 100; ++i) std::this_thread::yield();
    mine->left = true;
    return 0;
  };
  uint32_t id = co_create(entry, "slow", 0, &shared, 1, 0);
  shared.go->signal();
  co_kill(id);
  EXPECT_TRUE(shared.left);
}

TEST(LinuxThreadsTest, SeveralThreadsMayKillOneAndAllWaitForIt) {
  struct Shared {
    Event go = makeEvent();
    std::atomic<bool> left{false};
  } shared;
  auto entry = [](void* told) -> unsigned {
    auto* mine = static_cast<Shared*>(told);
    mine->go->wait(iThreadEvent::kForever);
    mine->left = true;
    return 0;
  };
  uint32_t id = co_create(entry, "shared", 0, &shared, 1, 0);
  std::latch ready(4);
  std::atomic<int> sawItLeft{0};
  std::vector<std::thread> killers;
  for (int i = 0; i < 4; ++i)
    killers.emplace_back([&, i] {
      ready.arrive_and_wait();
      if (i == 0) shared.go->signal();
      co_kill(id);
      if (shared.left) ++sawItLeft;
    });
  for (std::thread& killer : killers) killer.join();
  EXPECT_EQ(sawItLeft, 4);
}

TEST(LinuxThreadsTest, AThreadMayEndItselfAndGoesOnToTheEndOfItsFunction) {
  struct Shared {
    std::atomic<uint32_t> id{0};
    Event told = makeEvent();
    Event done = makeEvent();
  };
  static Shared& shared = *new Shared;
  auto entry = [](void*) -> unsigned {
    shared.told->wait(iThreadEvent::kForever);
    co_kill(shared.id);
    shared.done->signal();
    return 0;
  };
  shared.id = co_create(entry, "itself", 0, nullptr, 1, 0);
  shared.told->signal();
  EXPECT_TRUE(shared.done->wait(iThreadEvent::kForever));
  co_kill(shared.id);
}

TEST(LinuxThreadsTest, AnIdentifierThatNamesNoThreadIsIgnored) {
  co_kill(0);
  co_kill(65535);
  co_kill(65536);
  co_kill(0xFFFFFFFF);
  uint32_t id = co_create(doNothing, "once", 0, nullptr, 1, 0);
  co_kill(id);
  co_kill(id);
  EXPECT_NE(id, 0u);
}

TEST(LinuxThreadsTest, WithoutAFunctionThereIsNoThread) {
  EXPECT_EQ(co_create(nullptr, "nothing", 0, nullptr, 1, 0), 0u);
}

TEST(LinuxThreadTableTest, IdentifiersGoRoundFrom1To65535AndStepOverThoseInUse) {
  LinuxThreadTable table;
  Event event = makeEvent();
  uint32_t first = table.create(waitForEvent, "first", event.get());
  EXPECT_EQ(first, 1u);
  uint32_t last = 0;
  bool unique = true;
  for (uint32_t expected = 2; expected <= LinuxThreadTable::kLastId; ++expected) {
    last = table.create(doNothing, "brief", nullptr);
    unique = unique && last == expected;
    table.kill(last);
  }
  EXPECT_TRUE(unique);
  EXPECT_EQ(last, 65535u);
  uint32_t again = table.create(doNothing, "again", nullptr);
  EXPECT_EQ(again, 2u);
  table.kill(again);
  event->signal();
  table.kill(first);
}

TEST(LinuxThreadTableTest, AThreadThatEndedByItselfKeepsItsIdentifierUntilItIsKilled) {
  LinuxThreadTable table;
  Seen seen;
  uint32_t ended = table.create(lookAroundThread, "ended", &seen);
  std::set<uint32_t> others;
  for (int i = 0; i < 100; ++i) {
    uint32_t id = table.create(doNothing, "other", nullptr);
    others.insert(id);
    table.kill(id);
  }
  EXPECT_EQ(others.count(ended), 0u);
  table.kill(ended);
  EXPECT_EQ(seen.name, "ended");
}

TEST(LinuxThreadTableTest, WhereNoThreadCanBeMadeTheAnswerIsZero) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  // In a process of its own: its address space is made too small for another stack.
  auto starve = [] {
    rlimit none{0, 0};
    setrlimit(RLIMIT_AS, &none);
    LinuxThreadTable table;
    _exit(table.create(doNothing, "none", nullptr) == 0 ? 0 : 1);
  };
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
  static_cast<void>(starve);
  GTEST_SKIP() << "a sanitizer needs address space of its own";
#else
  EXPECT_EXIT(starve(), testing::ExitedWithCode(0), "");
#endif
}

class LinuxTaskQueueTest : public testing::Test {
protected:
  Qv::Ptr<iTask> task(std::function<void()> work) {
    return Qv::Ptr<iTask>(new Task(std::move(work), destroyed_));
  }

  std::atomic<int> destroyed_{0};
};

TEST_F(LinuxTaskQueueTest, EveryTaskRunsOnceOnALongLivedThreadOfTheQueuesName) {
  constexpr int kTasks = 1000;
  std::atomic<int> ran{0};
  std::latch allRan(kTasks);
  Seen seen;
  {
    Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("FsysServed", 3);
    for (int i = 0; i < kTasks; ++i)
      ASSERT_TRUE(queue->post(task([&, i] {
        if (i == 0) seen = lookAround();
        ++ran;
        allRan.count_down();
      })));
    allRan.wait();
  }
  EXPECT_EQ(ran, kTasks);
  EXPECT_EQ(destroyed_, kTasks);
  EXPECT_EQ(seen.name, "FsysServed");
  EXPECT_TRUE(seen.allSignalsBlocked);
  EXPECT_TRUE(seen.longLived);
}

TEST_F(LinuxTaskQueueTest, AsManyTasksRunAtOnceAsThereAreThreads) {
  constexpr int kThreads = 3;
  std::latch together(kThreads);
  std::latch done(kThreads);
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("together", kThreads);
  for (int i = 0; i < kThreads; ++i)
    queue->post(task([&] {
      together.arrive_and_wait();
      done.count_down();
    }));
  done.wait();
  EXPECT_TRUE(together.try_wait());
}

TEST_F(LinuxTaskQueueTest, NeverMoreTasksRunAtOnceThanThereAreThreads) {
  std::atomic<int> running{0};
  std::atomic<int> most{0};
  constexpr int kTasks = 500;
  std::latch done(kTasks);
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("two", 2);
  for (int i = 0; i < kTasks; ++i)
    queue->post(task([&] {
      int now = ++running;
      int seen = most;
      while (now > seen && !most.compare_exchange_weak(seen, now)) continue;
      --running;
      done.count_down();
    }));
  done.wait();
  EXPECT_LE(most, 2);
}

TEST_F(LinuxTaskQueueTest, AQueueThatGoesWaitsForTheRunningTaskAndLetsGoOfAllOthers) {
  Event started = makeEvent();
  std::atomic<bool> finished{false};
  {
    Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("one", 1);
    queue->post(task([&] {
      started->signal();
      for (int i = 0; i < 100; ++i) std::this_thread::yield();
      finished = true;
    }));
    started->wait(iThreadEvent::kForever);
    for (int i = 0; i < 10; ++i) queue->post(task([] {}));
  }
  EXPECT_TRUE(finished);
  EXPECT_EQ(destroyed_, 11);
}

TEST_F(LinuxTaskQueueTest, ATaskMayPostAnother) {
  std::latch second(1);
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("chain", 1);
  queue->post(task([&] { queue->post(task([&] { second.count_down(); })); }));
  second.wait();
  EXPECT_TRUE(second.try_wait());
}

TEST_F(LinuxTaskQueueTest, AQueueThatWasNeverUsedGoesQuietly) {
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue(nullptr, 0);
  EXPECT_TRUE(queue);
}
