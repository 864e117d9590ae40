#include "platform/SharedCriticalSection.h"

#include <algorithm>

// A reader counts itself and then looks whether somebody has entered; who enters says so and then
// looks at the counts. In one order of all four, at least one of the two sees the other.

size_t SharedCriticalSection::placeOfThread() {
  static constinit std::atomic<size_t> threads{0};
  thread_local const size_t place = threads.fetch_add(1, std::memory_order_relaxed) % kPlaces;
  return place;
}

void SharedCriticalSection::enter() NO_THREAD_SAFETY_ANALYSIS {
  lock_.enter();
  if (depth_++ > 0) return;
  isEntered_.store(true);
  waitForReaders();
}

bool SharedCriticalSection::tryEnter() NO_THREAD_SAFETY_ANALYSIS {
  if (!lock_.tryEnter()) return false;
  if (depth_++ > 0) return true;
  isEntered_.store(true);
  if (!hasReaders()) return true;
  leave();
  return false;
}

void SharedCriticalSection::leave() NO_THREAD_SAFETY_ANALYSIS {
  if (--depth_ == 0) isEntered_.store(false);
  lock_.leave();
}

bool SharedCriticalSection::hasReaders() const {
  return std::any_of(places_.begin(), places_.end(),
                     [](const Place& place) { return place.readers.load() != 0; });
}

void SharedCriticalSection::waitForReaders() {
  for (Place& place : places_)
    while (uint32_t readers = place.readers.load()) place.readers.wait(readers);
}

SharedCriticalSection::Readers* SharedCriticalSection::enterShared() NO_THREAD_SAFETY_ANALYSIS {
  Readers& readers = places_[placeOfThread()].readers;
  readers.fetch_add(1);
  if (!isEntered_.load()) return &readers;
  leaveShared(&readers);
  // Without saying so: others may read meanwhile.
  lock_.enter();
  return nullptr;
}

void SharedCriticalSection::leaveShared(Readers* readers) NO_THREAD_SAFETY_ANALYSIS {
  if (!readers)
    lock_.leave();
  else if (readers->fetch_sub(1) == 1 && isEntered_.load())
    readers->notify_all();
}
