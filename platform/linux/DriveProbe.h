#pragma once

#include <sys/types.h>

#include <cstdint>
#include <vector>

#include "platform/OsThreads.h"
#include "platform/linux/WaitCondition.h"

// DriveProbe: stands between callers and a drive that may fall silent.
// Story      There is one for a mount, as long as it is mounted. Errands for the drive are handed
//            in and run one after the other, in the order in which they came, on a thread that is
//            made when there is something to do and ends when there is nothing. Who handed one in
//            waits for it, for a limited time. An errand that is under way when its time is over
//            goes on, and is late: until it ends the drive takes no other, and says so at once. So
//            a drive that never answers costs one thread, and each caller its patience at most
//            once.
// Threads    any. Errands run and are destroyed with no lock held. One that asks its own drive
//            something is answered where it runs: it would wait for itself.
// Ownership  shared with its thread, which may outlive every use of the library; that then stays
//            in memory. An errand is let go as soon as it has ended.
// Errors     eOsTimedOut: it did not end in time, or was not begun because another is late; then
//            it never runs, or ends at some later time. eOsNoMemory: there was none for a thread,
//            and it never runs; or the errand itself ran out of it. Throws std::bad_alloc only in
//            hand() and run(), when nothing was handed in.
// Kept       a process that is forked meanwhile begins anew: it has the parent's errands in its
//            memory, but not their thread.
class DriveProbe : public virtual Qv::InternalRefCount {
public:
  using Deadline = WaitCondition::Deadline;

  // An errand that was handed in.
  class Turn : public virtual Qv::InternalRefCount {
  public:
    explicit Turn(const Qv::Ptr<iTask>& errand) : errand_(errand) {}

  private:
    friend class DriveProbe;
    enum eState : uint8_t { eWaits, eRuns, eIsLate, eEnded };

    // All guarded by the probe's lock.
    eState state_ = eWaits;
    uint32_t result_ = 0;  // once it has ended
    Qv::Ptr<iTask> errand_;
    WaitCondition changed_;
  };

  // Never waits for the drive.
  Qv::Ptr<Turn> hand(const Qv::Ptr<iTask>& errand);
  // 1 when it has run. Once for each turn.
  uint32_t wait(const Qv::Ptr<Turn>& turn, Deadline deadline);
  uint32_t run(const Qv::Ptr<iTask>& errand, unsigned patience_ms);

  // On the calling thread. 1, or eOsNoMemory when it ran out of that.
  static uint32_t runHere(const Qv::Ptr<iTask>& errand);

private:
  using Turns = std::vector<Qv::Ptr<Turn>>;

  void beginThread();
  void work();
  Qv::Ptr<Turn> nextTurn();
  void end(const Qv::Ptr<Turn>& turn, uint32_t result);
  void endLocked(Turn& turn, uint32_t result) REQUIRES(lock_);
  void refuseWaitingLocked(uint32_t result, Turns& refused) REQUIRES(lock_);
  void leaveToParentLocked() REQUIRES(lock_);

  Mutex lock_;
  pid_t process_ GUARDED_BY(lock_) = 0;  // whose turns these are
  bool hasThread_ GUARDED_BY(lock_) = false;
  Qv::Ptr<Turn> underWay_ GUARDED_BY(lock_);
  Turns waiting_ GUARDED_BY(lock_);
};
