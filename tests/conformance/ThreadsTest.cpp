#include <atomic>
#include <set>

#include "tests/conformance/Environments.h"

template <typename Environment>
class ThreadsConformance : public ConformanceTest<Environment> {
protected:
  static constexpr uint32_t kLong_ms = 20'000;

  static Qv::Ptr<iThreadEvent> event() { return OS()->getThreads()->createEvent(0, 0, 0); }
};

TYPED_TEST_SUITE(ThreadsConformance, Environments, EnvironmentNames);

namespace {

// A thread as the library's are: passes, and waits on a timer or for a kick.
struct Poller {
  explicit Poller(unsigned delay) : delay_ms(delay) {
    id = co_create(&Poller::run, "poller", 0, this, 1, 0);
  }
  void stop() {
    running = false;
    wake->signal();
    co_kill(id);
  }
  static unsigned run(void* argument) {
    auto* self = static_cast<Poller*>(argument);
    while (self->running) {
      ++self->passes;
      self->passed->signal();
      self->wake->wait(self->delay_ms);
    }
    self->left = true;
    return 0;
  }

  unsigned delay_ms;
  Qv::Ptr<iThreadEvent> wake = OS()->getThreads()->createEvent(0, 0, 0);
  Qv::Ptr<iThreadEvent> passed = OS()->getThreads()->createEvent(0, 0, 0);
  std::atomic<bool> running{true};
  std::atomic<bool> left{false};
  std::atomic<unsigned> passes{0};
  uint32_t id = 0;
};

struct Counts {
  std::atomic<int> run{0};
  std::atomic<int> destroyed{0};
};

// A task that counts, signals, and may wait for permission to end.
class CountingTask final : public iTask {
public:
  CountingTask(Counts& counts, const Qv::Ptr<iThreadEvent>& ran) : counts_(counts), ran_(ran) {}
  ~CountingTask() override { ++counts_.destroyed; }
  void run() override {
    ++counts_.run;
    ran_->signal();
  }

private:
  Counts& counts_;
  Qv::Ptr<iThreadEvent> ran_;
};

}  // namespace

TYPED_TEST(ThreadsConformance, OneSignalEndsOneWait) {
  Qv::Ptr<iThreadEvent> event = this->event();
  EXPECT_FALSE(event->wait(0));
  event->signal();
  EXPECT_TRUE(event->wait(0));
  EXPECT_FALSE(event->wait(0));
  event->signal();
  event->signal();
  EXPECT_TRUE(event->wait(iThreadEvent::kForever));
  EXPECT_FALSE(event->wait(1)) << "signals do not add up";
  event->signal();
  event->reset();
  EXPECT_FALSE(event->wait(0));
}

TYPED_TEST(ThreadsConformance, AThreadRunsItsFunctionWithItsArgument) {
  struct Told {
    Qv::Ptr<iThreadEvent> event;
    std::atomic<int> value{0};
  } told{this->event()};
  uint32_t id = co_create(
      [](void* argument) {
        auto* to = static_cast<Told*>(argument);
        to->value = 42;
        to->event->signal();
        return 1u;
      },
      "a name of more than fifteen characters", 0, &told, 1, 0);
  EXPECT_GE(id, 1u);
  EXPECT_LE(id, 65535u);
  EXPECT_TRUE(told.event->wait(this->kLong_ms));
  EXPECT_EQ(told.value, 42);
  co_kill(id);
}

TYPED_TEST(ThreadsConformance, ThreadsThatLiveAtOnceHaveDifferentIdentifiers) {
  std::set<uint32_t> ids;
  for (int i = 0; i < 20; ++i)
    ids.insert(co_create([](void*) { return 0u; }, "many", 0, nullptr, 1, 0));
  EXPECT_EQ(ids.size(), 20u);
  EXPECT_FALSE(ids.contains(0));
  for (uint32_t id : ids) co_kill(id);
}

TYPED_TEST(ThreadsConformance, WithoutAFunctionThereIsNoThreadAndAnUnknownOneIsNotKilled) {
  EXPECT_EQ(co_create(nullptr, "nothing", 0, nullptr, 1, 0), 0u);
  co_kill(0);
  co_kill(65535);
  co_kill(1'000'000);
}

TYPED_TEST(ThreadsConformance, APollerPassesOnItsTimer) {
  Poller poller(5);
  for (unsigned i = 0; i < 3; ++i) ASSERT_TRUE(poller.passed->wait(this->kLong_ms));
  poller.stop();
  EXPECT_GE(poller.passes, 3u);
}

TYPED_TEST(ThreadsConformance, AKickedPollerPassesAtOnce) {
  Poller poller(iThreadEvent::kForever);
  for (unsigned i = 1; i <= 3; ++i) {
    ASSERT_TRUE(poller.passed->wait(this->kLong_ms));
    EXPECT_EQ(poller.passes, i);
    poller.wake->signal();
  }
  ASSERT_TRUE(poller.passed->wait(this->kLong_ms));
  poller.stop();
  EXPECT_TRUE(poller.left);
}

TYPED_TEST(ThreadsConformance, AKilledThreadHasLeftItsFunction) {
  Poller poller(10);
  poller.stop();
  EXPECT_TRUE(poller.left);
  unsigned passes = poller.passes;
  EXPECT_FALSE(this->event()->wait(30));
  EXPECT_EQ(poller.passes, passes);
  co_kill(poller.id);
}

TYPED_TEST(ThreadsConformance, AThreadMayKillItself) {
  struct Self {
    Qv::Ptr<iThreadEvent> told;
    std::atomic<uint32_t> id{0};
  } self{this->event()};
  uint32_t id = co_create(
      [](void* argument) {
        auto* me = static_cast<Self*>(argument);
        Qv::Ptr<iThreadEvent> told = me->told;
        me->id.wait(0);
        co_kill(me->id);
        told->signal();
        return 0u;
      },
      "self", 0, &self, 1, 0);
  self.id = id;
  self.id.notify_one();
  EXPECT_TRUE(self.told->wait(this->kLong_ms));
}

TYPED_TEST(ThreadsConformance, EveryPostedTaskRunsOnceAndIsDestroyed) {
  Counts counts;
  Qv::Ptr<iThreadEvent> ran = this->event();
  {
    Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("tasks", 3);
    ASSERT_TRUE(queue);
    for (int i = 0; i < 50; ++i)
      ASSERT_TRUE(queue->post(Qv::Ptr<iTask>(new CountingTask(counts, ran))));
    while (counts.run < 50) ASSERT_TRUE(ran->wait(this->kLong_ms));
  }
  EXPECT_EQ(counts.run, 50);
  EXPECT_EQ(counts.destroyed, 50);
}

TYPED_TEST(ThreadsConformance, TasksThatHaveNotRunGoWithTheirQueue) {
  Counts counts;
  Qv::Ptr<iThreadEvent> ran = this->event();
  Qv::Ptr<iTaskQueue> queue = OS()->getThreads()->createTaskQueue("tasks", 1);
  for (int i = 0; i < 200; ++i) queue->post(Qv::Ptr<iTask>(new CountingTask(counts, ran)));
  queue.reset();
  int ranBefore = counts.run;
  EXPECT_EQ(counts.destroyed, 200);
  EXPECT_FALSE(this->event()->wait(10));
  EXPECT_EQ(counts.run, ranBefore);
}
