#pragma once

#include <pthread.h>

#include <thread>

#include "platform/CriticalSection.h"

// LockProbe: whether somebody holds a lock at this moment.
// Threads    asks from a thread of its own: the asker's own hold counts too, although the lock is
//            re-entrant. It does not wait.
class LockProbe {
public:
  // A critical section begins with the system's lock.
  static bool isHeld(CriticalSection& section) {
    auto* lock = reinterpret_cast<pthread_mutex_t*>(&section);
    bool held = true;
    std::thread([&] {
      if (pthread_mutex_trylock(lock) != 0) return;
      pthread_mutex_unlock(lock);
      held = false;
    }).join();
    return held;
  }
};
