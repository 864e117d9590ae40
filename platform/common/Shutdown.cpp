#include "platform/Shutdown.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

#include "platform/OS.h"
#include "platform/common/Mutex.h"

namespace {

uint32_t processId() { return nativeOS()->getSystemInfo()->getProcessId(); }

void runOwn();

struct Entry {
  Shutdown::Callback callback;
  int priority;
  uint32_t process = processId();
};

// ShutdownList: the callbacks that wait, the next one to run first.
class ShutdownList {
public:
  void add(Entry entry) {
    MutexLock lock(lock_);
    auto place = std::find_if(entries_.begin(), entries_.end(),
                              [&](const Entry& e) { return e.priority <= entry.priority; });
    entries_.insert(place, entry);
    if (!runsAtExit_) runsAtExit_ = std::atexit(&runOwn) == 0;
  }

  // Null when none waits. `process`: of those that it added; 0: of all.
  Shutdown::Callback takeNext(uint32_t process) {
    MutexLock lock(lock_);
    auto next = std::find_if(entries_.begin(), entries_.end(),
                             [&](const Entry& e) { return process == 0 || e.process == process; });
    if (next == entries_.end()) return nullptr;
    Shutdown::Callback callback = next->callback;
    entries_.erase(next);
    return callback;
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

// A process that was forked has the callbacks of its parent, but not the threads that they end.
void runOwn() {
  uint32_t own = processId();
  while (Shutdown::Callback next = list().takeNext(own)) next(Shutdown::eNormal);
}

}  // namespace

void Shutdown::addCallback(Callback callback, int priority) {
  if (callback) list().add({callback, priority});
}

void Shutdown::run(eExitType type) {
  while (Callback next = list().takeNext(0)) next(type);
}
