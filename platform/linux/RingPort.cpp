#include "platform/linux/RingPort.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <chrono>
#include <new>

#include "platform/Check.h"
#include "platform/OsErrors.h"

namespace {

using Clock = std::chrono::steady_clock;

// Room for everything in flight, the wake-up and a cancellation, so that the queue is never full.
constexpr unsigned kRingEntries = 2 * RingPort::kInFlightLimit;
constexpr unsigned kReapedAtOnce = 64;
// How long a start by a command may be held back for those that follow it, beyond one command.
constexpr auto kHeldBack = std::chrono::microseconds(50);
// Up to this length the disk is done with a transfer before it matters that it came alone.
constexpr uint32_t kShort_bytes = 262144;
// How long the reaper waits before it offers again what the kernel had no room for.
constexpr long kRetry_ns = 1000000;
// Waiting with a time-out beside the submission side, and completions that are never lost.
constexpr unsigned kNeededFeatures = IORING_FEAT_EXT_ARG | IORING_FEAT_NODROP;

constexpr Clock::time_point kNever = Clock::time_point::max();

// What a completion that is no transfer's carries.
constexpr uintptr_t kWakeTag = 1;
constexpr uintptr_t kCancelTag = 2;

void* tagged(uintptr_t tag) { return reinterpret_cast<void*>(tag); }

int initRing(io_uring& ring, unsigned entries) {
  io_uring_params parameters = {};
  parameters.flags = IORING_SETUP_CLAMP | IORING_SETUP_SUBMIT_ALL;
  int result = io_uring_queue_init_params(entries, &ring, &parameters);
  if (result < 0) return -result;
  if ((parameters.features & kNeededFeatures) == kNeededFeatures) return 0;
  io_uring_queue_exit(&ring);
  return ENOSYS;
}

__kernel_timespec untilDeadline(Clock::time_point deadline) {
  auto left = std::chrono::duration_cast<std::chrono::nanoseconds>(deadline - Clock::now()).count();
  if (left < 0) left = 0;
  return {left / 1000000000, left % 1000000000};
}

// Whose commands this thread executes.
thread_local const RingPort* executing = nullptr;

}  // namespace

Qv::Ptr<TransferPort> RingPort::make(const char* name, const CompletionCommand& command,
                                     int& error) {
  Qv::Ptr<RingPort> port(new RingPort(name, command));
  return port->open(name, error) ? Qv::Ptr<TransferPort>(port) : nullptr;
}

RingPort::RingPort(const char* name, const CompletionCommand& command)
    : command_(command), threads_(new ThreadPort(name, command, kWaitingLimit)) {}

bool RingPort::open(const char* name, int& error) {
  error = initRing(ring_, kRingEntries);
  if (error != 0) return false;
  hasRing_ = true;
  io_uring_ring_dontfork(&ring_);
  wakeDescriptor_ = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
  if (wakeDescriptor_ < 0) {
    error = errno;
    return false;
  }
  auto entry = [](void* port) { static_cast<RingPort*>(port)->reap(); };
  if (thread_.start(name ? name : "fsys", entry, this)) return true;
  error = EAGAIN;
  return false;
}

RingPort::~RingPort() {
  if (wakeDescriptor_ >= 0) ::close(wakeDescriptor_);
  if (hasRing_) io_uring_queue_exit(&ring_);
}

uint32_t RingPort::start(AsyncOperation* operation) {
  if (operation->needsThread()) return threads_->start(operation);
  bool mustWake = false;
  {
    MutexLock lock(lock_);
    if (closed_.load(std::memory_order_relaxed)) return eOsCancelled;
    bool isSlow = operation->startingWaits();
    (isSlow ? slow_ : ready_).push(operation);
    if (executing == this) return 1;
    mustWake = inFlight_ < kInFlightLimit;
    if (isSlow) {
      mustWake = mustWake && slowInFlight_ < kWaitingLimit;
    } else if (isLongLivedThread()) {
      putReadyLocked();
      mustWake = !submitLocked();
    }
    mustWake = mustWake && !wakeAsked_;
    if (mustWake) wakeAsked_ = true;
  }
  if (mustWake) wake();
  return 1;
}

void RingPort::setErrand(const Qv::Ptr<iTask>& errand) {
  MutexLock lock(errandLock_);
  errand_ = errand;
}

// Who finds it asked already comes before the reaper has begun to look: the run is his too.
bool RingPort::sendOnErrand() {
  uint32_t state = eWaiting;
  if (reaper_.compare_exchange_strong(state, eAsked)) {
    wake();
    return true;
  }
  return state == eAsked;
}

void RingPort::wake() {
  uint64_t one = 1;
  [[maybe_unused]] ssize_t written = write(wakeDescriptor_, &one, sizeof(one));
}

// The queue has room: nothing but what is in flight and the tags is ever in it.
void RingPort::putLocked(AsyncOperation* operation) {
  io_uring_sqe* sqe = io_uring_get_sqe(&ring_);
  bool waits = operation->transfer().mustWait() || operation->startingWaits();
  const FileTransfer::Part& part = operation->transfer().nextPart();
  if (operation->transfer().direction() == FileTransfer::eRead)
    io_uring_prep_read(sqe, part.descriptor, part.address, part.bytes, part.offset);
  else
    io_uring_prep_write(sqe, part.descriptor, part.address, part.bytes, part.offset);
  if (waits) sqe->flags |= IOSQE_ASYNC;
  io_uring_sqe_set_data(sqe, operation);
  handedOver_.fetch_add(1, std::memory_order_release);
}

void RingPort::putReadyLocked() {
  while (inFlight_ < kInFlightLimit) {
    AsyncOperation* operation = ready_.pop();
    if (!operation) return;
    ++inFlight_;
    putLocked(operation);
  }
}

// The reaper's alone: no other thread's end is to hang on these.
void RingPort::putSlowLocked() {
  while (slowInFlight_ < kWaitingLimit && inFlight_ < kInFlightLimit) {
    AsyncOperation* operation = slow_.pop();
    if (!operation) return;
    ++slowInFlight_;
    ++inFlight_;
    putLocked(operation);
  }
}

// Tells of every wake-up from now on.
void RingPort::putWakeLocked() {
  io_uring_sqe* sqe = io_uring_get_sqe(&ring_);
  io_uring_prep_poll_multishot(sqe, wakeDescriptor_, POLLIN);
  io_uring_sqe_set_data(sqe, tagged(kWakeTag));
}

// False when the kernel has no room now: what it did not take stays in the queue.
bool RingPort::submitLocked() {
  while (io_uring_sq_ready(&ring_) != 0) {
    int result = io_uring_submit(&ring_);
    if (result <= 0 && result != -EINTR) return false;
  }
  return true;
}

void RingPort::reap() {
  unsigned workers[2] = {kWaitingLimit, 0};  // the second number stays as it is
  io_uring_register_iowq_max_workers(&ring_, workers);
  restart();
  while (waitForCompletions()) {
    collect();
    restart();
    if (mustRun_) runErrand();
    deliver();
  }
  if (isKept()) letGo();
}

bool RingPort::isKept() {
  MutexLock lock(lock_);
  return isKept_;
}

// What it starts goes in together.
void RingPort::runErrand() {
  {
    MutexLock lock(errandLock_);
    if (!errand_) return;
    executing = this;
    errand_->run();
    executing = nullptr;
  }
  restart();
}

// False when a closed port has nothing more in flight.
bool RingPort::waitForCompletions() {
  if (closed_.load(std::memory_order_acquire) && maySettle()) return false;
  reaper_.store(eWaiting);
  await();
  mustRun_ = reaper_.exchange(eBusy) == eAsked;
  return true;
}

void RingPort::await() {
  bool closed = closed_.load(std::memory_order_acquire);
  io_uring_cqe* cqe = nullptr;
  if (submitFailed_) {
    __kernel_timespec retry = {0, kRetry_ns};
    io_uring_wait_cqe_timeout(&ring_, &cqe, &retry);
  } else if (closed && deadline_ != kNever) {
    __kernel_timespec left = untilDeadline(deadline_);
    io_uring_wait_cqe_timeout(&ring_, &cqe, &left);
  } else {
    io_uring_wait_cqe(&ring_, &cqe);
  }
}

// One step of a closed port's end: it waits, cancels, waits again, and lets the closer go. True
// when nothing is in flight any more.
bool RingPort::maySettle() {
  MutexLock lock(lock_);
  bool hasDrained = inFlight_ == 0;
  if (deadline_ == Clock::time_point())
    deadline_ = Clock::now() + std::chrono::milliseconds(kDrain_ms);
  bool isOver = Clock::now() >= deadline_;
  if (!hasDrained && !isOver) return false;
  if (!hasDrained && !hasCancelled_) {
    hasCancelled_ = true;
    deadline_ = Clock::now() + std::chrono::milliseconds(kCancel_ms);
    cancelAllLocked();
    return false;
  }
  deadline_ = kNever;
  settled_ = true;
  settling_.wakeAll();
  return hasDrained;
}

void RingPort::cancelAllLocked() {
  io_uring_sqe* sqe = io_uring_get_sqe(&ring_);
  io_uring_prep_cancel(sqe, nullptr, IORING_ASYNC_CANCEL_ANY | IORING_ASYNC_CANCEL_ALL);
  io_uring_sqe_set_data(sqe, tagged(kCancelTag));
  submitLocked();
}

void RingPort::collect() {
  std::array<io_uring_cqe*, kReapedAtOnce> ended;
  unsigned count = io_uring_peek_batch_cqe(&ring_, ended.data(), kReapedAtOnce);
  handedOver_.load(std::memory_order_acquire);
  for (unsigned i = 0; i < count; ++i)
    takeCompletion(io_uring_cqe_get_data(ended[i]), ended[i]->res, ended[i]->flags);
  io_uring_cq_advance(&ring_, count);
}

void RingPort::takeCompletion(void* data, int32_t outcome, uint32_t flags) {
  if (data == tagged(kCancelTag)) return;
  if (data == tagged(kWakeTag)) {
    wakeArmed_ = (flags & IORING_CQE_F_MORE) != 0;
    uint64_t wakes;
    [[maybe_unused]] ssize_t taken = read(wakeDescriptor_, &wakes, sizeof(wakes));
    MutexLock lock(lock_);
    wakeAsked_ = false;
    return;
  }
  auto* operation = static_cast<AsyncOperation*>(data);
  // The thread that put it in has gone, and the kernel gave its transfers back undone.
  if (outcome == -ECANCELED && !closed_.load(std::memory_order_acquire)) outcome = -EINTR;
  if (operation->transfer().take(outcome)) {
    finished_.push(operation);
    ++finishedCount_;
    if (operation->startingWaits()) ++finishedSlow_;
  } else {
    continuing_.push(operation);
  }
}

void RingPort::restart() {
  MutexLock lock(lock_);
  inFlight_ -= finishedCount_;
  if (isKept_) endKept(finishedCount_);
  slowInFlight_ -= finishedSlow_;
  finishedCount_ = finishedSlow_ = 0;
  if (!wakeArmed_) {
    putWakeLocked();
    wakeArmed_ = true;
  }
  while (AsyncOperation* operation = continuing_.pop()) putLocked(operation);
  if (!closed_.load(std::memory_order_relaxed)) {
    putReadyLocked();
    putSlowLocked();
  }
  submitFailed_ = !submitLocked();
}

// Whether the system has nothing to do, although something short is ready for it.
bool RingPort::isStarving() {
  MutexLock lock(lock_);
  AsyncOperation* next = ready_.first();
  return inFlight_ == 0 && next && next->transfer().nextPart().bytes <= kShort_bytes;
}

void RingPort::deliver() {
  executing = this;
  auto since = Clock::now();
  while (AsyncOperation* operation = finished_.pop()) {
    if (closed_.load(std::memory_order_acquire))
      delete operation;
    else
      report(operation, command_);
    if (finished_.empty() || !(isStarving() || Clock::now() - since >= kHeldBack)) continue;
    restart();
    since = Clock::now();
  }
  executing = nullptr;
  restart();
}

void RingPort::close() {
  threads_->close();
  OperationQueue dropped;
  {
    MutexLock lock(lock_);
    closed_.store(true, std::memory_order_release);
    ready_.moveTo(dropped);
    slow_.moveTo(dropped);
  }
  drop(dropped);
  wake();
  bool drained = false;
  {
    MutexLock lock(lock_);
    while (!settled_) settling_.wait(lock_);
    drained = inFlight_ == 0;
    isKept_ = !drained;
    // Under the lock, so that none of them ends before it is counted.
    if (isKept_) keepFor(inFlight_);
  }
  drained ? thread_.join() : thread_.detach();
}
