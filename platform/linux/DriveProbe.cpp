#include "platform/linux/DriveProbe.h"

#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <new>
#include <utility>

#include "platform/OsErrors.h"
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

// Of a turn that nobody waits for.
DriveProbe::Turn::~Turn() {
  if (thread_) thread_->detach();
}

Qv::Ptr<DriveProbe::Turn> DriveProbe::hand(const Qv::Ptr<iTask>& errand) {
  Qv::Ptr<Turn> turn(new Turn(errand));
  bool isOwn = served == this;
  uint32_t result = isOwn ? runHere(errand) : 0;
  Turns refused;  // goes without the lock
  MutexLock lock(lock_);
  leaveToParentLocked();
  bool isRefused = underWay_ && underWay_->state_ == Turn::eIsLate;
  if (isOwn || isRefused) {
    endLocked(*turn, isOwn ? result : static_cast<uint32_t>(eOsTimedOut));
    return turn;
  }
  waiting_.push_back(turn);
  // Who has no thread has nobody under way, and so everybody waits.
  hasThread_ = hasThread_ || beginThreadLocked();
  if (!hasThread_) refuseWaitingLocked(eOsNoMemory, refused);
  return turn;
}

uint32_t DriveProbe::wait(const Qv::Ptr<Turn>& turn, Deadline deadline) {
  Turns refused;  // these two go without the lock
  std::unique_ptr<LinuxThread> ended;
  bool isGivenUp = false;
  {
    MutexLock lock(lock_);
    while (turn->state_ != Turn::eEnded && turn->changed_.waitUntil(lock_, deadline)) {
    }
    isGivenUp = turn->state_ != Turn::eEnded;
    if (isGivenUp) giveUpLocked(turn, refused);
    ended = std::move(turn->thread_);
  }
  if (ended) ended->join();
  if (isGivenUp) stayLoaded();
  return isGivenUp ? static_cast<uint32_t>(eOsTimedOut) : turn->result_;
}

bool DriveProbe::beginThreadLocked() {
  std::unique_ptr<LinuxThread> thread(new (std::nothrow) LinuxThread);
  auto entry = [](void* probe) { static_cast<DriveProbe*>(probe)->work(); };
  addRef();
  if (thread && thread->start("fsys drive", entry, this, LinuxThread::eEndsSoon)) {
    thread_ = std::move(thread);
    return true;
  }
  decRef();  // the caller has another
  return false;
}

void DriveProbe::work() {
  served = this;
  for (Qv::Ptr<Turn> turn = firstTurn(); turn;) {
    // An errand may ask the drive again as it goes: it is let go before the next one begins.
    Qv::Ptr<iTask> errand;
    {
      MutexLock lock(lock_);
      errand.swap(turn->errand_);
    }
    uint32_t result = runHere(errand);
    errand.reset();
    turn = nextTurn(*turn, result);
  }
  if (decRef() == 0) delete this;
}

// Null when whoever handed one in has given up; then nobody waits for the thread.
Qv::Ptr<DriveProbe::Turn> DriveProbe::firstTurn() {
  MutexLock lock(lock_);
  Qv::Ptr<Turn> turn = takeTurnLocked();
  if (!turn) std::exchange(thread_, nullptr)->detach();
  return turn;
}

// Null when none waits; then the thread is left to who waits for the one that has ended.
Qv::Ptr<DriveProbe::Turn> DriveProbe::nextTurn(Turn& ended, uint32_t result) {
  MutexLock lock(lock_);
  Qv::Ptr<Turn> turn = takeTurnLocked();
  if (!turn) ended.thread_ = std::move(thread_);
  endLocked(ended, result);
  return turn;
}

// When none waits the thread is no longer one of the probe's.
Qv::Ptr<DriveProbe::Turn> DriveProbe::takeTurnLocked() {
  underWay_.reset();
  hasThread_ = !waiting_.empty();
  if (!hasThread_) return nullptr;
  underWay_ = waiting_.front();
  waiting_.erase(waiting_.begin());
  underWay_->state_ = Turn::eRuns;
  return underWay_;
}

void DriveProbe::giveUpLocked(const Qv::Ptr<Turn>& turn, Turns& refused) {
  if (turn->state_ == Turn::eWaits) {
    waiting_.erase(std::find(waiting_.begin(), waiting_.end(), turn));
    endLocked(*turn, eOsTimedOut);
    return;
  }
  turn->state_ = Turn::eIsLate;
  refuseWaitingLocked(eOsTimedOut, refused);
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
  static_cast<void>(thread_.release());
  underWay_.reset();
  waiting_.clear();
}
