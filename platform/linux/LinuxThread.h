#pragma once

#include <pthread.h>

// LinuxThread: one thread of the library's own.
// Story      started once, then joined or detached exactly once. It blocks every signal and counts
//            as long-lived.
// Threads    one owner. isLongLivedThread: any.
class LinuxThread {
public:
  LinuxThread() = default;
  LinuxThread(const LinuxThread&) = delete;
  LinuxThread& operator=(const LinuxThread&) = delete;

  // Runs entry(argument) on a new thread under the first 15 characters of `name`. False when no
  // thread could be made; never throws.
  bool start(const char* name, void (*entry)(void*), void* argument);
  // Waits until the thread has ended.
  void join();
  // From now on the thread ends by itself.
  void detach();

private:
  pthread_t thread_{};
};

// Whether the calling thread was made by the library and lives on between pieces of work.
bool isLongLivedThread();
