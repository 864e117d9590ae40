#include "platform/linux/LinuxThread.h"

#include <signal.h>

#include <cstring>
#include <memory>
#include <new>

namespace {

constexpr size_t kNameBytes = 15;

thread_local bool longLived = false;

// What a new thread is told.
struct Start {
  void (*entry)(void*);
  void* argument;
  bool livesOn;
  char name[kNameBytes + 1];
};

void* runThread(void* told) {
  Start start = *std::unique_ptr<Start>(static_cast<Start*>(told));
  pthread_setname_np(pthread_self(), start.name);
  longLived = start.livesOn;
  start.entry(start.argument);
  return nullptr;
}

}  // namespace

bool isLongLivedThread() { return longLived; }

bool LinuxThread::start(const char* name, void (*entry)(void*), void* argument, eLife life) {
  std::unique_ptr<Start> told(new (std::nothrow) Start{entry, argument, life == eLivesOn, {}});
  if (!told) return false;
  std::strncpy(told->name, name ? name : "fsys", kNameBytes);
  // A thread inherits the mask, so that no signal can reach it before it has set its own.
  sigset_t all;
  sigset_t before;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  bool started = pthread_create(&thread_, nullptr, runThread, told.get()) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (started) static_cast<void>(told.release());
  return started;
}

void LinuxThread::join() { pthread_join(thread_, nullptr); }

void LinuxThread::detach() { pthread_detach(thread_); }
