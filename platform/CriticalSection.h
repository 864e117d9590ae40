#pragma once

#include "platform/PlatformExport.h"
#include "platform/ThreadAnnotations.h"

// CriticalSection: a lock that the thread which holds it may take again; it is free when it has
// been left as often as it was entered. Priority and fairness are the system's.
// Threads    any. Destroyed when nobody holds or waits for it.
class PLATFORM_EXPORT CAPABILITY("mutex") CriticalSection {
public:
  CriticalSection();
  ~CriticalSection();
  CriticalSection(const CriticalSection&) = delete;
  CriticalSection& operator=(const CriticalSection&) = delete;

  void enter() ACQUIRE();
  // False, and nothing is held, when another thread holds it. Does not wait.
  bool tryEnter() TRY_ACQUIRE(true);
  void leave() RELEASE();

private:
  // Room for the system's own lock, kept in place so that a lock costs no allocation.
  alignas(8) unsigned char lock_[48];
};

// Holds the lock for a scope.
class SCOPED_CAPABILITY CriticalSectionLock {
public:
  explicit CriticalSectionLock(CriticalSection& section) ACQUIRE(section) : section_(section) {
    section_.enter();
  }
  ~CriticalSectionLock() RELEASE() { section_.leave(); }
  CriticalSectionLock(const CriticalSectionLock&) = delete;
  CriticalSectionLock& operator=(const CriticalSectionLock&) = delete;

private:
  CriticalSection& section_;
};
