#include "platform/linux/LinuxTaskQueue.h"

#include <algorithm>
#include <new>
#include <utility>

LinuxTaskQueue::LinuxTaskQueue(const char* name, unsigned maxThreads)
    : name_(name ? name : "fsys"), maxThreads_(std::max(maxThreads, 1u)) {}

LinuxTaskQueue::~LinuxTaskQueue() {
  {
    std::lock_guard lock(lock_);
    ending_ = true;
  }
  changed_.notify_all();
  for (LinuxThread& thread : threads_) thread.join();
}

bool LinuxTaskQueue::post(const Qv::Ptr<iTask>& task) try {
  {
    std::lock_guard lock(lock_);
    waiting_.push_back(task);
    if (!haveThreadLocked()) {
      waiting_.pop_back();
      return false;
    }
  }
  changed_.notify_one();
  return true;
} catch (const std::bad_alloc&) {
  return false;
}

// Makes a thread when every thread has enough to do and there may be more. False when there is none
// at all. The lock is held.
bool LinuxTaskQueue::haveThreadLocked() {
  if (idle_ >= waiting_.size() || threads_.size() >= maxThreads_) return true;
  auto entry = [](void* queue) { static_cast<LinuxTaskQueue*>(queue)->work(); };
  try {
    threads_.emplace_back();
    if (!threads_.back().start(name_.c_str(), entry, this)) threads_.pop_back();
  } catch (const std::bad_alloc&) {
    return !threads_.empty();
  }
  return !threads_.empty();
}

void LinuxTaskQueue::work() {
  std::unique_lock lock(lock_);
  for (;;) {
    ++idle_;
    changed_.wait(lock, [&] { return ending_ || !waiting_.empty(); });
    --idle_;
    if (ending_) return;
    Qv::Ptr<iTask> task = std::move(waiting_.front());
    waiting_.pop_front();
    lock.unlock();
    task->run();
    task.reset();
    lock.lock();
  }
}
