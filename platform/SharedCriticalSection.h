#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "platform/CriticalSection.h"
#include "platform/PlatformExport.h"
#include "platform/ThreadAnnotations.h"

// SharedCriticalSection: a re-entrant lock under which short reads run side by side.
// Story      Whoever changes something enters; the thread that holds it may enter again. A reader
//            leaves a mark of its thread's own and goes on at once, unless somebody holds the lock:
//            then it waits for it as everybody does. Who enters waits until the readers that were
//            there before have left; they let nobody pass who comes later, so it is not for long.
// Threads    any. A thread that holds it may read under it. A thread that reads must not enter or
//            read again until it has left, calls out to nobody, and does not wait.
//            Destroyed when nobody holds or waits for it and no call of it is running: who leaves
//            looks at it once more when others may enter already.
// Errors     none.
class PLATFORM_EXPORT CAPABILITY("mutex") SharedCriticalSection {
public:
  // How many read at this place now; several threads share it, so that there need not be one each.
  using Readers = std::atomic<uint32_t>;

  SharedCriticalSection() = default;
  SharedCriticalSection(const SharedCriticalSection&) = delete;
  SharedCriticalSection& operator=(const SharedCriticalSection&) = delete;

  void enter() ACQUIRE();
  // False, and nothing is held, when another thread holds it or anybody reads. Does not wait.
  bool tryEnter() TRY_ACQUIRE(true);
  void leave() RELEASE();
  // What leaveShared wants; null when the lock itself was taken.
  Readers* enterShared() ACQUIRE_SHARED();
  void leaveShared(Readers* readers) RELEASE_SHARED();

private:
  static constexpr size_t kPlaces = 16;
  // On a cache line of its own.
  struct alignas(64) Place {
    Readers readers{0};
  };

  static size_t placeOfThread();
  bool hasReaders() const;
  void waitForReaders();

  CriticalSection lock_;
  unsigned depth_ = 0;  // of the thread that holds lock_
  // Whether somebody has entered: no reader comes in beside the lock.
  std::atomic<bool> isEntered_{false};
  std::array<Place, kPlaces> places_;
};

// Holds the lock for a scope.
class SCOPED_CAPABILITY SharedCriticalSectionLock {
public:
  explicit SharedCriticalSectionLock(SharedCriticalSection& section) ACQUIRE(section)
      : section_(section) {
    section_.enter();
  }
  ~SharedCriticalSectionLock() RELEASE() { section_.leave(); }
  SharedCriticalSectionLock(const SharedCriticalSectionLock&) = delete;
  SharedCriticalSectionLock& operator=(const SharedCriticalSectionLock&) = delete;

private:
  SharedCriticalSection& section_;
};

// Reads under the lock for a scope.
class SCOPED_CAPABILITY SharedCriticalSectionRead {
public:
  explicit SharedCriticalSectionRead(SharedCriticalSection& section) ACQUIRE_SHARED(section)
      : section_(section), readers_(section.enterShared()) {}
  ~SharedCriticalSectionRead() RELEASE() { section_.leaveShared(readers_); }
  SharedCriticalSectionRead(const SharedCriticalSectionRead&) = delete;
  SharedCriticalSectionRead& operator=(const SharedCriticalSectionRead&) = delete;

  // Whether it reads beside others, without the lock itself.
  bool isBesideOthers() const { return readers_ != nullptr; }

private:
  SharedCriticalSection& section_;
  SharedCriticalSection::Readers* readers_;
};
