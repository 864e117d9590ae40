#pragma once

#include "platform/QvPtr.h"
#include "platform/linux/LinuxThread.h"
#include "platform/linux/WaitCondition.h"

// SlowClose: closes the descriptors of a file on a file system that may make whoever closes it
// wait: a server or a program is told of every close, and may never answer.
// Story      Made with the file. Begun by the last user of its descriptors, which may be a thread
//            that others wait for; a thread of its own closes them. Who wants the close to have
//            happened waits for it, for a limited time: what a close sends to a server is there
//            when it returns, unless the server is dead.
// Threads    begin: once, by one. wait: any.
// Kept       the thread may outlive every use of the library, which then stays in memory.
class SlowClose : public virtual Qv::InternalRefCount {
public:
  SlowClose();
  static constexpr unsigned kWait_ms = 2000;

  // Closes them, or nothing where one is -1. On the calling thread when no other can be had.
  void begin(int first, int second);
  // False when a close that was begun has not ended in time; it goes on. True at once before it was
  // begun: somebody else still uses the descriptors.
  bool wait();

private:
  void closeBoth();

  Mutex lock_;
  WaitCondition ended_;
  bool isClosing_ GUARDED_BY(lock_) = false;
  int first_ = -1;
  int second_ = -1;
  LinuxThread thread_;
};
