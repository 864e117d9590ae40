#pragma once

#include <thread>

#include "platform/CriticalSection.h"

// LockProbe: whether somebody holds a lock at this moment.
// Threads    asks from a thread of its own: the asker's own hold counts too, although the lock is
//            re-entrant. It does not wait.
class LockProbe {
public:
  static bool isHeld(CriticalSection& section) {
    bool held = true;
    std::thread([&] {
      if (!section.tryEnter()) return;
      section.leave();
      held = false;
    }).join();
    return held;
  }
};
