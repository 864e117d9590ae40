#include "platform/linux/SlowClose.h"

#include <unistd.h>

#include <chrono>

#include "platform/linux/StayLoaded.h"

// Not when it begins: that may be while the library is being unloaded.
SlowClose::SlowClose() { stayLoaded(); }

void SlowClose::begin(int first, int second) {
  first_ = first;
  second_ = second;
  {
    MutexLock lock(lock_);
    isClosing_ = true;
  }
  addRef();
  auto entry = [](void* closing) { static_cast<SlowClose*>(closing)->closeBoth(); };
  // The thread may end all of this before it is detached.
  Qv::Ptr<SlowClose> self(this);
  if (thread_.start("fsys let go", entry, this)) return thread_.detach();
  closeBoth();
}

void SlowClose::closeBoth() {
  if (first_ >= 0) close(first_);
  if (second_ >= 0) close(second_);
  {
    MutexLock lock(lock_);
    isClosing_ = false;
    ended_.wakeAll();
  }
  if (decRef() == 0) delete this;
}

bool SlowClose::wait() {
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kWait_ms);
  MutexLock lock(lock_);
  while (isClosing_ && ended_.waitUntil(lock_, deadline)) {
  }
  return !isClosing_;
}
