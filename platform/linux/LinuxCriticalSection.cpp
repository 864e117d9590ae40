#include <pthread.h>

#include <new>

#include "platform/Check.h"
#include "platform/CriticalSection.h"

static_assert(sizeof(pthread_mutex_t) <= 48 && alignof(pthread_mutex_t) <= 8,
              "the system's lock fits the room that CriticalSection has for it");

namespace {

pthread_mutex_t* mutexIn(unsigned char* room) {
  return std::launder(reinterpret_cast<pthread_mutex_t*>(room));
}

}  // namespace

CriticalSection::CriticalSection() {
  pthread_mutexattr_t kind;
  pthread_mutexattr_init(&kind);
  pthread_mutexattr_settype(&kind, PTHREAD_MUTEX_RECURSIVE);
  pthread_mutex_init(new (lock_) pthread_mutex_t, &kind);
  pthread_mutexattr_destroy(&kind);
}

CriticalSection::~CriticalSection() {
  int result = pthread_mutex_destroy(mutexIn(lock_));
  FSYS_INVARIANT(result == 0);
}

void CriticalSection::enter() NO_THREAD_SAFETY_ANALYSIS {
  int result = pthread_mutex_lock(mutexIn(lock_));
  FSYS_INVARIANT(result == 0);
}

bool CriticalSection::tryEnter() NO_THREAD_SAFETY_ANALYSIS {
  return pthread_mutex_trylock(mutexIn(lock_)) == 0;
}

void CriticalSection::leave() NO_THREAD_SAFETY_ANALYSIS {
  int result = pthread_mutex_unlock(mutexIn(lock_));
  FSYS_INVARIANT(result == 0);
}
