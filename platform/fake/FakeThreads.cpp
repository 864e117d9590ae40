#include "platform/fake/FakeThreads.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include "platform/fake/FakeTaskQueue.h"
#include "platform/fake/FakeWorld.h"

namespace {

constexpr uint32_t kLastId = 65535;
// A thread whose function was called that often after co_kill will not return.
constexpr unsigned kMostRunsOfAKilledThread = 1000;

}  // namespace

Qv::Ptr<iThreadEvent> FakeThreads::createEvent(int, int, int) {
  if (uint32_t error = faults_.next(FaultPlan::eCreateEvent).error) {
    world_.errors().fail(error);
    return {};
  }
  return Qv::Ptr<iThreadEvent>(new FakeEvent(world_, made_++, liveEvents_));
}

void FakeThreads::sleep(uint32_t ms) {
  sleeps_.push_back(ms);
  world_.advance(ms);
}

void FakeThreads::yield() {
  ++yields_;
  if (onYield_) onYield_();
}

Qv::Ptr<iTaskQueue> FakeThreads::createTaskQueue(const char* name, unsigned threads) {
  if (uint32_t error = faults_.next(FaultPlan::eCreateTaskQueue).error) {
    world_.errors().fail(error);
    return {};
  }
  return Qv::Ptr<iTaskQueue>(new FakeTaskQueue(*this, name, threads));
}

uint32_t FakeThreads::create(unsigned (*entry)(void*), const char* name, void* argument) {
  if (uint32_t error = faults_.next(FaultPlan::eCreateThread).error) {
    world_.errors().fail(error);
    return 0;
  }
  if (!entry || threads_.size() >= kLastId) return 0;
  do lastId_ = lastId_ % kLastId + 1;
  while (locate(lastId_));
  auto thread = std::make_shared<Thread>();
  thread->id = lastId_;
  thread->name = name ? name : "";
  thread->entry = entry;
  thread->argument = argument;
  thread->due_ms = world_.clock().now_ms();
  thread->number = made_++;
  threads_.push_back(thread);
  return thread->id;
}

void FakeThreads::kill(uint32_t id) {
  ThreadPtr thread = locate(id);
  if (!thread) return;
  if (thread->running) {
    if (current_.empty() || current_.back() != thread.get())
      throw std::logic_error("co_kill of thread '" + thread->name + "' from within it hangs");
    thread->killed = true;
    return;
  }
  for (unsigned runs = 0; !thread->returned; ++runs) {
    double due = dueAt_ms(*thread);
    if (due == FakeWorld::kForever_ms || runs == kMostRunsOfAKilledThread)
      throw std::logic_error("co_kill of thread '" + thread->name + "', which does not return");
    world_.clock().stepTo(due);
    runBody(thread);
  }
  forget(id);
}

FakeThreads::ThreadPtr FakeThreads::locate(uint32_t id) const {
  for (const ThreadPtr& thread : threads_)
    if (thread->id == id) return thread;
  return nullptr;
}

void FakeThreads::forget(uint32_t id) {
  std::erase_if(threads_, [id](const ThreadPtr& thread) { return thread->id == id; });
}

uint32_t FakeThreads::find(const std::string& name) const {
  std::vector<uint32_t> ids = findAll(name);
  return ids.empty() ? 0 : ids.front();
}

std::vector<uint32_t> FakeThreads::findAll(const std::string& name) const {
  std::vector<uint32_t> ids;
  for (const ThreadPtr& thread : threads_)
    if (thread->name == name) ids.push_back(thread->id);
  return ids;
}

const FakeThreads::Thread* FakeThreads::thread(uint32_t id) const { return locate(id).get(); }

// When a thread wants to run; kForever_ms for one that does not.
double FakeThreads::dueAt_ms(const Thread& thread) const {
  if (thread.running || thread.returned) return FakeWorld::kForever_ms;
  if (thread.runs == 0 || (thread.wake && thread.wake->isSignalled()))
    return world_.clock().now_ms();
  return thread.due_ms;
}

double FakeThreads::nextDue_ms() const {
  double next = FakeWorld::kForever_ms;
  for (const ThreadPtr& thread : threads_) next = std::min(next, dueAt_ms(*thread));
  return next;
}

bool FakeThreads::isDue(uint32_t id) const {
  ThreadPtr thread = locate(id);
  return thread && dueAt_ms(*thread) <= world_.clock().now_ms();
}

bool FakeThreads::run(uint32_t id) {
  ThreadPtr thread = locate(id);
  return thread && runBody(thread);
}

bool FakeThreads::runBody(const ThreadPtr& thread) {
  if (thread->running || thread->returned) return false;
  struct Running {
    Running(FakeThreads& threads, Thread& thread) : threads_(threads), thread_(thread) {
      thread_.running = true;
      threads_.current_.push_back(&thread_);
    }
    ~Running() {
      threads_.current_.pop_back();
      thread_.running = false;
    }
    FakeThreads& threads_;
    Thread& thread_;
  };
  Running running(*this, *thread);
  FakeErrorsOfAnotherThread errors(world_.errors());
  ++thread->runs;
  thread->lastRun = ++runs_;
  if (thread->wake) thread->wake->take();
  try {
    thread->answer = thread->entry(thread->argument);
    thread->returned = true;
    if (thread->killed) forget(thread->id);
  } catch (const RunEnded&) {
  }
  return true;
}

unsigned FakeThreads::runDue() {
  std::vector<ThreadPtr> due;
  for (const ThreadPtr& thread : threads_)
    if (dueAt_ms(*thread) <= world_.clock().now_ms()) due.push_back(thread);
  unsigned ran = 0;
  for (const ThreadPtr& thread : due)
    if (locate(thread->id) == thread && runBody(thread)) ++ran;
  return ran;
}

// Of the due threads the one whose last run lies longest back.
bool FakeThreads::runOneDue() {
  ThreadPtr best;
  for (const ThreadPtr& thread : threads_) {
    if (dueAt_ms(*thread) > world_.clock().now_ms()) continue;
    if (!best || thread->lastRun < best->lastRun) best = thread;
  }
  return best && runBody(best);
}

void FakeThreads::endRunIfWake(FakeEvent& event, uint32_t timeout_ms) {
  Thread* thread = current_.empty() ? nullptr : current_.back();
  if (!thread) return;
  if (!thread->wake && event.number() < thread->number) thread->wake = Qv::Ptr<FakeEvent>(&event);
  if (!(thread->wake == &event)) return;
  thread->due_ms = timeout_ms == iThreadEvent::kForever
                       ? FakeWorld::kForever_ms
                       : world_.clock().now_ms() + std::max(timeout_ms, 1u);
  throw RunEnded();
}

FakeThreads::Queue* FakeThreads::record(FakeTaskQueue* queue) {
  auto place = std::find_if(queues_.begin(), queues_.end(),
                            [queue](const Queue& q) { return q.queue == queue; });
  return place == queues_.end() ? nullptr : &*place;
}

void FakeThreads::addQueue(FakeTaskQueue* queue, const std::string& name, unsigned threads) {
  queues_.push_back({queue, name, threads});
}

void FakeThreads::removeQueue(FakeTaskQueue* queue) {
  if (record(queue)->running > 0) {
    std::fputs("a task queue is destroyed while one of its tasks runs: it would hang\n", stderr);
    std::abort();
  }
  std::erase_if(queues_, [queue](const Queue& q) { return q.queue == queue; });
  std::vector<Qv::Ptr<iTask>> dropped;
  for (const Task& task : tasks_)
    if (task.queue == queue) dropped.push_back(task.task);
  std::erase_if(tasks_, [queue](const Task& task) { return task.queue == queue; });
}

bool FakeThreads::post(FakeTaskQueue* queue, const Qv::Ptr<iTask>& task) {
  if (uint32_t error = faults_.next(FaultPlan::ePostTask).error) {
    world_.errors().fail(error);
    return false;
  }
  if (!task) return false;
  tasks_.push_back({queue, task});
  return true;
}

bool FakeThreads::runTask() {
  if (tasks_.empty()) return false;
  Task task = tasks_.front();
  tasks_.pop_front();
  struct Running {
    Running(FakeThreads& threads, FakeTaskQueue* queue) : threads_(threads), queue_(queue) {
      ++threads_.record(queue_)->running;
    }
    ~Running() { --threads_.record(queue_)->running; }
    FakeThreads& threads_;
    FakeTaskQueue* queue_;
  };
  Running running(*this, task.queue);
  AnotherThread thread(*this);
  FakeErrorsOfAnotherThread errors(world_.errors());
  task.task->run();
  task.task.reset();
  return true;
}

void FakeThreads::dropTasks() {
  std::deque<Task> dropped;
  dropped.swap(tasks_);
}
