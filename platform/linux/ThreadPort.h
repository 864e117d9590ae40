#pragma once

#include <memory>
#include <string>

#include "platform/linux/LinuxThread.h"
#include "platform/linux/TransferPort.h"
#include "platform/linux/WaitCondition.h"

// ThreadPort: a transfer port whose threads carry the transfers out themselves, one a thread.
// Story      Threads are made as they are needed, up to the port's limit, and then wait for work
//            until the port is closed. Transfers of a file system that may make whoever starts them
//            wait never take the last thread: a share that does not answer leaves it to the rest.
// Threads    any.
// Kept       a port of one thread has none to leave to the rest.
class ThreadPort final : public TransferPort {
public:
  // As many as the engine asks for: more have not been measured to be better.
  static constexpr unsigned kMostThreads = 3;

  // How many threads a port has that was asked for with that number: from 1 to kMostThreads.
  static unsigned threadsFor(int asked);

  // `threads` is what it makes at most, and at least 1.
  ThreadPort(const char* name, const CompletionCommand& command, unsigned threads);

  uint32_t start(AsyncOperation* operation) override;
  void close() override;
  unsigned threadLimit() const { return threadLimit_; }

private:
  void work();
  void workUntilClosed();
  void carryOutLocked(AsyncOperation* operation) REQUIRES(lock_);
  bool haveThreadLocked() REQUIRES(lock_);
  unsigned startableLocked() const REQUIRES(lock_);
  AsyncOperation* takeLocked() REQUIRES(lock_);
  bool drainLocked() REQUIRES(lock_);

  const std::string name_;
  const CompletionCommand command_;
  const unsigned threadLimit_;
  const unsigned slowLimit_;

  Mutex lock_;
  WaitCondition work_;   // there is an operation that can be started, or the port is closed
  WaitCondition quiet_;  // a closed port's command has ended, or its thread has left
  OperationQueue ready_ GUARDED_BY(lock_);
  OperationQueue slow_ GUARDED_BY(lock_);  // whose start may wait
  unsigned readyCount_ GUARDED_BY(lock_) = 0;
  unsigned slowCount_ GUARDED_BY(lock_) = 0;
  unsigned inHand_ GUARDED_BY(lock_) = 0;  // transfers that the system has
  unsigned slowInHand_ GUARDED_BY(lock_) = 0;
  unsigned idle_ GUARDED_BY(lock_) = 0;
  unsigned commands_ GUARDED_BY(lock_) = 0;
  unsigned alive_ GUARDED_BY(lock_) = 0;
  unsigned made_ GUARDED_BY(lock_) = 0;
  bool closed_ GUARDED_BY(lock_) = false;
  bool isKept_ GUARDED_BY(lock_) = false;         // the closer did not wait for the last transfer
  const std::unique_ptr<LinuxThread[]> threads_;  // the first made_ are started
};
