#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <vector>

#include "platform/OsThreads.h"
#include "platform/linux/LinuxThread.h"

// LinuxTaskQueue: waiting tasks and the threads that run them. A thread is made when a task is
// posted, none is idle and there may be more; it lives as long as the queue.
// Threads    lock_ guards every field that changes; tasks run and are destroyed with no lock held.
class LinuxTaskQueue final : public iTaskQueue {
public:
  LinuxTaskQueue(const char* name, unsigned maxThreads);
  ~LinuxTaskQueue() override;

  bool post(const Qv::Ptr<iTask>& task) override;

private:
  bool haveThreadLocked();
  void work();

  const std::string name_;
  const unsigned maxThreads_;
  std::mutex lock_;
  std::condition_variable changed_;
  std::deque<Qv::Ptr<iTask>> waiting_;
  std::deque<LinuxThread> threads_;
  size_t idle_ = 0;
  bool ending_ = false;
};
