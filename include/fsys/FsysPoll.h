#pragma once

#include <cstdint>

#include "fsys/Export.h"
#include "platform/CriticalSection.h"
#include "platform/OsAtomics.h"
#include "platform/OsThreads.h"
#include "platform/Vector.h"

class CompletionPortHandler;
class FsysFile;

// FsysPoll: starts the queued requests of one direction's files, on a timer or when kicked.
// Story      The engine makes one for reads and one for writes; each has a thread that passes over
//            its file list until the poller goes.
// Threads    Kick, Rouse: any. A pass holds the list's lock; the poller's thread makes it, or the
//            completion handler's when it was waiting as somebody queued.
//            Callbacks of failed starts run inside a pass, with that lock and the file's lock held.
//            A callback's own thread may pass over its one file instead, without the list's lock.
// Ownership  the list and its lock are the engine's; the thread is the poller's. The destructor
//            returns when the thread has left its function; it makes no further pass.
// Units      delays in ms. A pass follows the last by at most the delay. Passes over writes follow
//            sooner while they find work, so that a write that kicks nobody does not wait so long.
// Errors     the constructor throws bad_alloc when its event cannot be had; see hasThread.
class FSYS_EXPORT FsysPoll {
public:
  // `spare` is kept and never read.
  FsysPoll(Vector<FsysFile*>* files, CriticalSection* filesLock, bool reads, unsigned delay_ms,
           unsigned spare);
  virtual ~FsysPoll();
  FsysPoll(const FsysPoll&) = delete;
  FsysPoll& operator=(const FsysPoll&) = delete;

  // Ends the thread: returns when it has left its function. Kicks do nothing afterwards. The
  // destructor does it too.
  void Stop();
  // Makes the next pass start at once. Any thread; takes no lock; does not wait; cannot fail.
  void Kick();
  // As Kick, for who has just queued something: where the handler's thread waits it makes the pass
  // instead, since it is the one that hears of the transfers' ends.
  void Rouse();
  // From now on Rouse may send that handler's thread; until Stop.
  void sendOnErrands(CompletionPortHandler* handler);
  // A pass by a thread that must not wait for the list: if somebody has it, the poller is kicked.
  void PassIfFree();
  // Whether its thread could be made; without it nothing is started.
  bool hasThread() const { return threadId_ != 0; }
  // One pass over the files. Returns 1.
  unsigned Polltasks();
  // The thread's function; the argument is the poller. Returns 0.
  static unsigned StartPolling(void* poll);

private:
  friend struct LayoutPeer;
  friend struct FsysPollPeer;
  bool pass() REQUIRES(*filesLock_);
  bool passOver(FsysFile* file);
  unsigned nextWait_ms();

  // Fixed order; fixed after construction unless said otherwise.
  unsigned delay_ms_;
  uint32_t threadId_ = 0;
  Qv::Ptr<iThreadEvent> wake_;
  Vector<FsysFile*>* files_ PT_GUARDED_BY(*filesLock_);
  CriticalSection* filesLock_;
  unsigned spare_;
  OsWord<bool> running_{true};
  bool reads_;

  OsWord<CompletionPortHandler*> messenger_{nullptr};

  // The poller's thread alone.
  bool foundWork_ = false;
  unsigned idleWait_ms_;
};
