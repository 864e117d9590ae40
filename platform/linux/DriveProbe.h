#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <vector>

#include "platform/OsThreads.h"
#include "platform/linux/LinuxThread.h"
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
// Ownership  shared with its thread. Who waited for the last errand has waited for the thread too,
//            so that the library can be unloaded. Where somebody has given up, the thread may
//            outlive every use of the library; that then stays in memory. An errand is let go as
//            soon as it has ended.
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
    ~Turn() override;

  private:
    friend class DriveProbe;
    enum eState : uint8_t { eWaits, eRuns, eIsLate, eEnded };

    // All guarded by the probe's lock.
    eState state_ = eWaits;
    uint32_t result_ = 0;  // once it has ended
    Qv::Ptr<iTask> errand_;
    std::unique_ptr<LinuxThread> thread_;  // that ends with this errand, if nobody has joined it
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

  void work();
  Qv::Ptr<Turn> firstTurn();
  Qv::Ptr<Turn> nextTurn(Turn& ended, uint32_t result);
  bool beginThreadLocked() REQUIRES(lock_);
  Qv::Ptr<Turn> takeTurnLocked() REQUIRES(lock_);
  void giveUpLocked(const Qv::Ptr<Turn>& turn, Turns& refused) REQUIRES(lock_);
  void endLocked(Turn& turn, uint32_t result) REQUIRES(lock_);
  void refuseWaitingLocked(uint32_t result, Turns& refused) REQUIRES(lock_);
  void leaveToParentLocked() REQUIRES(lock_);

  Mutex lock_;
  pid_t process_ GUARDED_BY(lock_) = 0;  // whose turns these are
  bool hasThread_ GUARDED_BY(lock_) = false;
  std::unique_ptr<LinuxThread> thread_ GUARDED_BY(lock_);  // while there is one
  Qv::Ptr<Turn> underWay_ GUARDED_BY(lock_);
  Turns waiting_ GUARDED_BY(lock_);
};
