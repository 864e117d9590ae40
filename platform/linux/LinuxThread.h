#pragma once

#include <pthread.h>

// LinuxThread: one thread of the library's own.
// Story      started once, then joined or detached exactly once. It blocks every signal. It counts
//            as long-lived unless it was said to end soon.
// Threads    one owner. isLongLivedThread: any.
class LinuxThread {
public:
  LinuxThread() = default;
  LinuxThread(const LinuxThread&) = delete;
  LinuxThread& operator=(const LinuxThread&) = delete;

  enum eLife : bool { eLivesOn, eEndsSoon };

  // Runs entry(argument) on a new thread under the first 15 characters of `name`. False when no
  // thread could be made; never throws.
  bool start(const char* name, void (*entry)(void*), void* argument, eLife life = eLivesOn);
  // Waits until the thread has ended.
  void join();
  // From now on the thread ends by itself.
  void detach();

private:
  pthread_t thread_{};
};

// Whether the calling thread was made by the library and lives on between pieces of work.
bool isLongLivedThread();
