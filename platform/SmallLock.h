#pragma once

#include <atomic>
#include <cstdint>

#include "platform/ThreadAnnotations.h"

// SmallLock: a lock of four bytes, for objects of which there are very many.
// Story      It is held for a few lines in which nothing waits. Who finds it held sleeps until it
//            is free; while nobody waits, entering and leaving are one exchange each.
// Threads    any. Not re-entrant, and not fair. It works before main and after it. Who leaves it
//            may still wake somebody afterwards: it goes when every leave has returned.
class CAPABILITY("mutex") SmallLock {
public:
  constexpr SmallLock() = default;
  SmallLock(const SmallLock&) = delete;
  SmallLock& operator=(const SmallLock&) = delete;

  void enter() ACQUIRE() {
    uint32_t found = kFree;
    if (state_.compare_exchange_strong(found, kHeld, std::memory_order_acquire,
                                       std::memory_order_relaxed))
      return;
    // Who has waited takes it as awaited: there may be others.
    while (state_.exchange(kAwaited, std::memory_order_acquire) != kFree)
      state_.wait(kAwaited, std::memory_order_relaxed);
  }
  void leave() RELEASE() {
    if (state_.exchange(kFree, std::memory_order_release) == kAwaited) state_.notify_one();
  }

private:
  static constexpr uint32_t kFree = 0;
  static constexpr uint32_t kHeld = 1;
  static constexpr uint32_t kAwaited = 2;  // held, and somebody may be asleep

  std::atomic<uint32_t> state_{kFree};
};

static_assert(sizeof(SmallLock) == 4, "it fits where a larger lock does not");

// Holds the lock for a scope.
class SCOPED_CAPABILITY SmallLockScope {
public:
  explicit SmallLockScope(SmallLock& lock) ACQUIRE(lock) : lock_(lock) { lock_.enter(); }
  ~SmallLockScope() RELEASE() { lock_.leave(); }
  SmallLockScope(const SmallLockScope&) = delete;
  SmallLockScope& operator=(const SmallLockScope&) = delete;

private:
  SmallLock& lock_;
};
