#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "platform/OsThreads.h"
#include "platform/fake/FakeEvent.h"
#include "platform/fake/FaultPlan.h"

class FakeTaskQueue;

// FakeThreads: threads, tasks and sleeps that happen when the test says so.
// Story      co_create makes no thread: it records a hand-run thread. Running one calls its
//            function from the start until it waits for its own wake event: that wait does not
//            return, it ends the run, and its timeout is the thread's next due time. The function
//            is called from its start again when the thread is due. So a thread's function is a
//            loop that keeps nothing across its wait:
//              while (running) { pass(); wake->wait(delay); }
//            The wake event is the first event that the function itself waits for, of those that
//            existed when the thread was made. Its signal is taken as a run begins; a signal makes
//            the thread due at once; so is a thread that has never run. A wait of 0 ms of its own
//            counts as one of 1 ms. Every other wait runs the world (see FakeWorld).
//            A thread whose function returned never runs again.
// Threads    one. A thread that is running is not run again by a wait inside it.
// Errors     std::logic_error for what would hang: a co_kill that would wait for ever.
class FakeThreads final : public iThreads {
public:
  struct Thread {
    uint32_t id;
    std::string name;
    unsigned (*entry)(void*);
    void* argument;
    double due_ms;         // on the fake's clock; meaningless while a signal waits
    unsigned runs = 0;     // calls of its function
    uint64_t lastRun = 0;  // of all runs; 0 before the first
    unsigned answer = 0;   // what its function returned
    bool returned = false;
    bool killed = false;  // by itself: it goes when its function returns
    bool running = false;
    uint64_t number;  // events with a smaller one may be its wake event
    Qv::Ptr<FakeEvent> wake;
  };
  struct Queue {
    FakeTaskQueue* queue;
    std::string name;
    unsigned threads;
    unsigned running = 0;  // tasks that are running now
  };

  FakeThreads(FakeWorld& world, FaultPlan& faults) : world_(world), faults_(faults) {}

  Qv::Ptr<iThreadEvent> createEvent(int, int, int) override;
  // Runs the world for that long; recorded.
  void sleep(uint32_t ms) override;
  // Nothing happens meanwhile but what the test has asked for; counted.
  void yield() override;
  Qv::Ptr<iTaskQueue> createTaskQueue(const char* name, unsigned threads) override;
  uint32_t create(unsigned (*entry)(void*), const char* name, void* argument) override;
  // Runs the function until it returns, then forgets the thread. From the thread itself: forgets it
  // when its function returns.
  void kill(uint32_t id) override;

  // The thread that was made first under that name, 0 if there is none.
  uint32_t find(const std::string& name) const;
  // All of that name, in the order in which they were made.
  std::vector<uint32_t> findAll(const std::string& name) const;
  // Null for an identifier that names no thread.
  const Thread* thread(uint32_t id) const;
  size_t count() const { return threads_.size(); }
  // Runs a thread now, due or not. False when it is running, has returned or is no thread.
  bool run(uint32_t id);
  // Runs every thread that is due now, once. How many it ran.
  unsigned runDue();
  bool isDue(uint32_t id) const;

  // Tasks that wait, of all queues.
  size_t tasks() const { return tasks_.size(); }
  // Runs the task that has waited longest. False when there is none.
  bool runTask();
  // While on, waits and FakeOS::run leave tasks alone.
  void holdTasks(bool on) { holdTasks_ = on; }
  const std::vector<Queue>& queues() const { return queues_; }

  // Events that exist.
  unsigned liveEvents() const { return *liveEvents_; }

  // Every sleep, in ms.
  const std::vector<uint32_t>& sleeps() const { return sleeps_; }
  size_t yields() const { return yields_; }
  // What other threads do in each.
  void onYield(std::function<void()> action) { onYield_ = std::move(action); }

  // For the fake.
  void endRunIfWake(FakeEvent& event, uint32_t timeout_ms);
  bool runOneDue();
  bool runOneTask() { return !holdTasks_ && runTask(); }
  double nextDue_ms() const;
  void addQueue(FakeTaskQueue* queue, const std::string& name, unsigned threads);
  void removeQueue(FakeTaskQueue* queue);
  bool post(FakeTaskQueue* queue, const Qv::Ptr<iTask>& task);
  void dropTasks();

  // A scope that is no hand-run thread: a task or a completion.
  class AnotherThread {
  public:
    explicit AnotherThread(FakeThreads& threads) : threads_(threads) {
      threads_.current_.push_back(nullptr);
    }
    ~AnotherThread() { threads_.current_.pop_back(); }
    AnotherThread(const AnotherThread&) = delete;
    AnotherThread& operator=(const AnotherThread&) = delete;

  private:
    FakeThreads& threads_;
  };

private:
  struct Task {
    FakeTaskQueue* queue;
    Qv::Ptr<iTask> task;
  };
  using ThreadPtr = std::shared_ptr<Thread>;
  struct RunEnded {};

  ThreadPtr locate(uint32_t id) const;
  double dueAt_ms(const Thread& thread) const;
  bool runBody(const ThreadPtr& thread);
  void forget(uint32_t id);
  Queue* record(FakeTaskQueue* queue);

  FakeWorld& world_;
  FaultPlan& faults_;
  std::vector<ThreadPtr> threads_;
  std::vector<Thread*> current_;  // innermost last; null for what is no hand-run thread
  std::deque<Task> tasks_;
  std::vector<Queue> queues_;
  std::vector<uint32_t> sleeps_;
  size_t yields_ = 0;
  std::function<void()> onYield_;
  std::shared_ptr<unsigned> liveEvents_ = std::make_shared<unsigned>(0);
  uint64_t made_ = 0;  // events and threads
  uint64_t runs_ = 0;
  uint32_t lastId_ = 0;
  bool holdTasks_ = false;
};
