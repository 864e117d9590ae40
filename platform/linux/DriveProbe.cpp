#include "platform/linux/DriveProbe.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "platform/OsErrors.h"
#include "platform/linux/LinuxThread.h"
#include "platform/linux/StayLoaded.h"

namespace {

constexpr uint32_t kHasRun = 1;

// Whose errands the calling thread runs.
thread_local const DriveProbe* served = nullptr;

}  // namespace

uint32_t DriveProbe::runHere(const Qv::Ptr<iTask>& errand) try {
  errand->run();
  return kHasRun;
} catch (const std::bad_alloc&) {
  return eOsNoMemory;
}

uint32_t DriveProbe::run(const Qv::Ptr<iTask>& errand, unsigned patience_ms) {
  Deadline deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(patience_ms);
  return wait(hand(errand), deadline);
}

Qv::Ptr<DriveProbe::Turn> DriveProbe::hand(const Qv::Ptr<iTask>& errand) {
  Qv::Ptr<Turn> turn(new Turn(errand));
  bool isOwn = served == this;
  uint32_t result = isOwn ? runHere(errand) : 0;
  {
    MutexLock lock(lock_);
    leaveToParentLocked();
    bool isRefused = underWay_ && underWay_->state_ == Turn::eIsLate;
    if (isOwn || isRefused) {
      endLocked(*turn, isOwn ? result : static_cast<uint32_t>(eOsTimedOut));
      return turn;
    }
    waiting_.push_back(turn);
    if (std::exchange(hasThread_, true)) return turn;
  }
  beginThread();
  return turn;
}

uint32_t DriveProbe::wait(const Qv::Ptr<Turn>& turn, Deadline deadline) {
  Turns refused;  // goes without the lock
  MutexLock lock(lock_);
  while (turn->state_ != Turn::eEnded && turn->changed_.waitUntil(lock_, deadline)) {
  }
  if (turn->state_ == Turn::eEnded) return turn->result_;
  if (turn->state_ == Turn::eWaits) {
    waiting_.erase(std::find(waiting_.begin(), waiting_.end(), turn));
    endLocked(*turn, eOsTimedOut);
  } else {
    turn->state_ = Turn::eIsLate;
    refuseWaitingLocked(eOsTimedOut, refused);
  }
  return eOsTimedOut;
}

// Who has no thread has nobody under way, and so everybody waits.
void DriveProbe::beginThread() {
  stayLoaded();
  auto entry = [](void* probe) { static_cast<DriveProbe*>(probe)->work(); };
  addRef();
  LinuxThread thread;
  if (thread.start("fsys drive", entry, this, LinuxThread::eEndsSoon)) return thread.detach();
  Turns refused;
  {
    MutexLock lock(lock_);
    hasThread_ = false;
    refuseWaitingLocked(eOsNoMemory, refused);
  }
  decRef();  // the caller has another
}

void DriveProbe::work() {
  served = this;
  for (Qv::Ptr<Turn> turn = nextTurn(); turn; turn = nextTurn()) {
    // An errand may ask the drive again as it goes: it is let go before the next one begins.
    Qv::Ptr<iTask> errand;
    {
      MutexLock lock(lock_);
      errand.swap(turn->errand_);
    }
    uint32_t result = runHere(errand);
    errand.reset();
    end(turn, result);
  }
  if (decRef() == 0) delete this;
}

// Null when none waits; then the thread is no longer one of the probe's.
Qv::Ptr<DriveProbe::Turn> DriveProbe::nextTurn() {
  MutexLock lock(lock_);
  hasThread_ = !waiting_.empty();
  if (!hasThread_) return nullptr;
  Qv::Ptr<Turn> turn = waiting_.front();
  waiting_.erase(waiting_.begin());
  turn->state_ = Turn::eRuns;
  underWay_ = turn;
  return turn;
}

void DriveProbe::end(const Qv::Ptr<Turn>& turn, uint32_t result) {
  MutexLock lock(lock_);
  underWay_.reset();
  endLocked(*turn, result);
}

void DriveProbe::endLocked(Turn& turn, uint32_t result) {
  turn.state_ = Turn::eEnded;
  turn.result_ = result;
  turn.changed_.wakeAll();
}

void DriveProbe::refuseWaitingLocked(uint32_t result, Turns& refused) {
  for (const Qv::Ptr<Turn>& turn : waiting_) endLocked(*turn, result);
  refused.swap(waiting_);
}

// None of these turns goes here: whoever waits for them, and their thread, hold them for ever.
void DriveProbe::leaveToParentLocked() {
  pid_t own = getpid();
  if (std::exchange(process_, own) == own) return;
  hasThread_ = false;
  underWay_.reset();
  waiting_.clear();
}
