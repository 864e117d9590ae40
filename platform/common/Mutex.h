#pragma once

#include <mutex>

#include "platform/ThreadAnnotations.h"

// Mutex: a plain lock whose guarded fields the compiler can check. It is not re-entrant.
// Threads    any. Constant-initialised and never in need of destruction, so it works before main
//            and after it.
class CAPABILITY("mutex") Mutex {
public:
  constexpr Mutex() = default;
  Mutex(const Mutex&) = delete;
  Mutex& operator=(const Mutex&) = delete;

  void lock() ACQUIRE() { mutex_.lock(); }
  void unlock() RELEASE() { mutex_.unlock(); }
  // Does not wait: false when somebody has it.
  bool tryLock() TRY_ACQUIRE(true) { return mutex_.try_lock(); }

private:
  std::mutex mutex_;
};

// Holds the lock for a scope.
class SCOPED_CAPABILITY MutexLock {
public:
  explicit MutexLock(Mutex& mutex) ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~MutexLock() RELEASE() { mutex_.unlock(); }
  MutexLock(const MutexLock&) = delete;
  MutexLock& operator=(const MutexLock&) = delete;

private:
  Mutex& mutex_;
};
