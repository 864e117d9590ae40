#include "platform/Shutdown.h"

#include <algorithm>
#include <atomic>
#include <cstdlib>
#include <vector>

#include "platform/OS.h"
#include "platform/common/Mutex.h"

namespace {

struct Entry {
  Shutdown::Callback callback;
  int priority;
};

std::atomic<uint32_t> ownProcess{0};

uint32_t processId() { return nativeOS()->getSystemInfo()->getProcessId(); }

// A process that was forked has the callbacks, but not the threads that they end.
void runIfOwn() {
  if (processId() == ownProcess.load(std::memory_order_relaxed)) Shutdown::run(Shutdown::eNormal);
}

// ShutdownList: the callbacks that wait, the next one to run first.
class ShutdownList {
public:
  void add(Entry entry) {
    MutexLock lock(lock_);
    auto place = std::find_if(entries_.begin(), entries_.end(),
                              [&](const Entry& e) { return e.priority <= entry.priority; });
    entries_.insert(place, entry);
    if (runsAtExit_) return;
    ownProcess.store(processId(), std::memory_order_relaxed);
    runsAtExit_ = std::atexit(&runIfOwn) == 0;
  }

  // Null when none waits.
  Shutdown::Callback takeNext() {
    MutexLock lock(lock_);
    if (entries_.empty()) return nullptr;
    Shutdown::Callback next = entries_.front().callback;
    entries_.erase(entries_.begin());
    return next;
  }

private:
  Mutex lock_;
  std::vector<Entry> entries_ GUARDED_BY(lock_);
  bool runsAtExit_ GUARDED_BY(lock_) = false;
};

// Never destroyed: callbacks may be added while the process ends.
ShutdownList& list() {
  static ShutdownList& only = *new ShutdownList;
  return only;
}

}  // namespace

void Shutdown::addCallback(Callback callback, int priority) {
  if (callback) list().add({callback, priority});
}

void Shutdown::run(eExitType type) {
  while (Callback next = list().takeNext()) next(type);
}
