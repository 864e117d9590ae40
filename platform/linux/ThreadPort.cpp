#include "platform/linux/ThreadPort.h"

#include <algorithm>
#include <chrono>

#include "platform/OsErrors.h"
#include "platform/linux/PositionalTransfer.h"

unsigned ThreadPort::threadsFor(int asked) {
  return static_cast<unsigned>(std::clamp(asked, 1, int{kMostThreads}));
}

ThreadPort::ThreadPort(const char* name, const CompletionCommand& command, unsigned threads)
    : name_(name ? name : "fsys"),
      command_(command),
      threadLimit_(threads),
      slowLimit_(std::max(threadLimit_ - 1, 1u)),
      threads_(new LinuxThread[threads]) {}

uint32_t ThreadPort::start(AsyncOperation* operation) {
  MutexLock lock(lock_);
  if (closed_) return eOsCancelled;
  if (!haveThreadLocked()) return eOsNoMemory;
  bool isSlow = operation->startingWaits();
  (isSlow ? slow_ : ready_).push(operation);
  ++(isSlow ? slowCount_ : readyCount_);
  bool canStart = !isSlow || slowInHand_ < slowLimit_;
  if (canStart && idle_ > 0) work_.wakeOne();
  return 1;
}

// Makes a thread when the idle ones have enough to do. False when there is none at all.
bool ThreadPort::haveThreadLocked() {
  if (idle_ > startableLocked() || made_ == threadLimit_) return true;
  auto entry = [](void* port) { static_cast<ThreadPort*>(port)->work(); };
  if (!threads_[made_].start(name_.c_str(), entry, this)) return made_ != 0;
  ++made_;
  ++alive_;
  return true;
}

unsigned ThreadPort::startableLocked() const {
  return readyCount_ + std::min(slowCount_, slowLimit_ - slowInHand_);
}

// Null when nothing can be started. The slow ones come first: they leave a thread to the others,
// which would not leave one to them.
AsyncOperation* ThreadPort::takeLocked() {
  if (slowCount_ != 0 && slowInHand_ < slowLimit_) {
    --slowCount_;
    ++slowInHand_;
    return slow_.pop();
  }
  if (readyCount_ == 0) return nullptr;
  --readyCount_;
  return ready_.pop();
}

// The last thread of a port that was kept is its end.
void ThreadPort::work() {
  workUntilClosed();
  bool isEnd = false;
  {
    MutexLock lock(lock_);
    isEnd = --alive_ == 0 && isKept_;
    quiet_.wakeAll();
  }
  if (isEnd) letGo();
}

void ThreadPort::workUntilClosed() {
  MutexLock lock(lock_);
  while (!closed_) {
    if (AsyncOperation* operation = takeLocked()) {
      carryOutLocked(operation);
      continue;
    }
    ++idle_;
    work_.wait(lock_);
    --idle_;
  }
}

void ThreadPort::carryOutLocked(AsyncOperation* operation) {
  ++inHand_;
  lock_.unlock();
  carryOut(operation->transfer());
  lock_.lock();
  --inHand_;
  if (operation->startingWaits()) {
    --slowInHand_;
    // The command may take its time.
    if (slowCount_ != 0 && idle_ > 0) work_.wakeOne();
  }
  if (closed_) {
    if (isKept_) endKept(1);
    lock_.unlock();
    delete operation;
    lock_.lock();
    return;
  }
  ++commands_;
  lock_.unlock();
  report(operation, command_);
  lock_.lock();
  --commands_;
  if (closed_) quiet_.wakeAll();
}

// Waits for the commands that run, then for the threads. False when a transfer does not end.
bool ThreadPort::drainLocked() {
  while (commands_ != 0) quiet_.wait(lock_);
  auto deadline =
      std::chrono::steady_clock::now() + std::chrono::milliseconds(kDrain_ms + kCancel_ms);
  while (alive_ != 0 && quiet_.waitUntil(lock_, deadline)) {
  }
  return alive_ == 0;
}

void ThreadPort::close() {
  bool drained = false;
  unsigned made = 0;
  OperationQueue dropped;
  {
    MutexLock lock(lock_);
    closed_ = true;
    ready_.moveTo(dropped);
    slow_.moveTo(dropped);
    readyCount_ = slowCount_ = 0;
    work_.wakeAll();
    drained = drainLocked();
    made = made_;
    isKept_ = !drained;
    // Under the lock, so that none of them ends before it is counted.
    if (isKept_) keepFor(inHand_);
  }
  drop(dropped);
  for (unsigned i = 0; i < made; ++i) drained ? threads_[i].join() : threads_[i].detach();
}
