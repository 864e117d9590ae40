#pragma once

#include <condition_variable>
#include <map>
#include <memory>
#include <mutex>

#include "platform/linux/LinuxThread.h"

// LinuxThreadTable: the threads that have identifiers.
// Story      A thread keeps its identifier until it is killed, also after its function has
//            returned, so that a late kill never meets another thread. Identifiers go round; when
//            all are taken, those of the oldest threads that ended by themselves are used again.
// Threads    any; lock_ guards everything, and is not held while a thread is waited for.
class LinuxThreadTable {
public:
  static constexpr uint32_t kLastId = 65535;

  // 0 when no thread could be made.
  uint32_t create(unsigned (*entry)(void*), const char* name, void* argument);
  void kill(uint32_t id);

private:
  struct Record {
    LinuxThreadTable* table;
    unsigned (*entry)(void*);
    void* argument;
    LinuxThread thread;
    bool started = false;  // `thread` can be joined
    bool left = false;     // the function has returned
    bool claimed = false;  // somebody joins it, or it is detached
  };
  using Records = std::map<uint32_t, std::shared_ptr<Record>>;

  static void runThread(void* record);
  uint32_t freeIdLocked();
  void joinThoseThatLeft();

  std::mutex lock_;
  std::condition_variable changed_;
  Records records_;
  uint32_t lastId_ = 0;
};
