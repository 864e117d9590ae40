#pragma once

#include <liburing.h>

#include <atomic>
#include <chrono>

#include "platform/linux/LinuxThread.h"
#include "platform/linux/ThreadPort.h"
#include "platform/linux/TransferPort.h"
#include "platform/linux/WaitCondition.h"

// RingPort: a transfer port on a ring of the kernel's, with one thread that reaps it.
// Story      A transfer is put into the ring by the thread that starts it, if that thread lives
//            long: the kernel ends the transfers of a thread that goes. Other threads leave theirs
//            in a queue and wake the reaper. So do all for a file system that may make the starter
//            wait: such transfers go to the kernel's own threads, a limited number at once, so that
//            a share that does not answer leaves room for the rest. More than the ring takes at
//            once waits in the queues and goes in as others end. The reaper takes all that has
//            ended at one wake-up, continues what was short, puts in what waited, and then executes
//            the commands. The reaper of a closed port stays until the last transfer has ended: a
//            thread cannot leave before what it started. It is the end of a port that was kept.
//            What commands start goes in together once the batch that they belong to is delivered,
//            or 50 us and one command later: that is one system call, and one notice to the disk,
//            for many. A short transfer does not wait for them while the disk has nothing to do:
//            measured, 3 % of the throughput of eight reads of 64 KiB, 1.5 % of 256 KiB; of 1 MiB
//            it costs some, since the system then makes more pieces of them.
//            While it waits the reaper can be sent on an errand: that is one change of thread where
//            a thread of its own, which then wakes the reaper, is two.
//            Starting on the spot was measured against leaving all of it to the reaper: for a
//            starter that is woken by the command it costs two thirds of the processor time for
//            4 KiB, four fifths for 64 KiB, and goes on while a command takes its time.
//            Transfers of file systems whose bytes a ring would misplace never go into it: threads
//            of the port's carry them out, as many at once as there may be of the kernel's, and
//            execute their commands.
// Threads    start: any. The submission side of the ring and what is counted there are guarded by
//            lock_; the completion side is the reaper's alone.
// Kept       a ring does not survive fork: the child has not its memory, nor its descriptor after
//            exec.
class RingPort final : public TransferPort {
public:
  static constexpr unsigned kInFlightLimit = 256;
  // Of these, transfers whose start may wait; as many threads of the kernel's may carry them.
  static constexpr unsigned kWaitingLimit = 64;

  // Null, and `error` the system's error number, when no ring or no thread can be had.
  static Qv::Ptr<TransferPort> make(const char* name, const CompletionCommand& command, int& error);

  ~RingPort() override;

  uint32_t start(AsyncOperation* operation) override;
  void setErrand(const Qv::Ptr<iTask>& errand) override;
  bool sendOnErrand() override;
  void close() override;

private:
  RingPort(const char* name, const CompletionCommand& command);

  bool open(const char* name, int& error);
  void reap();
  bool waitForCompletions();
  void await();
  void runErrand();
  bool maySettle();
  bool isKept();
  void collect();
  void takeCompletion(void* data, int32_t outcome, uint32_t flags);
  void restart();
  bool isStarving();
  void deliver();
  void wake();

  void putLocked(AsyncOperation* operation) REQUIRES(lock_);
  void putWakeLocked() REQUIRES(lock_);
  void putReadyLocked() REQUIRES(lock_);
  void putSlowLocked() REQUIRES(lock_);
  void cancelAllLocked() REQUIRES(lock_);
  bool submitLocked() REQUIRES(lock_);

  const CompletionCommand command_;
  const Qv::Ptr<ThreadPort> threads_;  // for what does not go into the ring; none until needed
  LinuxThread thread_;
  int wakeDescriptor_ = -1;
  io_uring ring_ = {};  // the submission side is guarded by lock_, the rest is the reaper's
  bool hasRing_ = false;

  // The reaper's alone.
  OperationQueue finished_;
  OperationQueue continuing_;
  unsigned finishedCount_ = 0;
  unsigned finishedSlow_ = 0;
  bool wakeArmed_ = false;
  bool submitFailed_ = false;
  bool hasCancelled_ = false;
  std::chrono::steady_clock::time_point deadline_;  // of a closed port's next step

  // What the reaper does: eWaiting by itself before it waits, eAsked by who sends it, eBusy by
  // itself when it goes on.
  enum eReaper : uint32_t { eBusy, eWaiting, eAsked };
  std::atomic<uint32_t> reaper_{eBusy};
  bool mustRun_ = false;  // the reaper's alone
  Mutex errandLock_;      // held while the errand runs
  Qv::Ptr<iTask> errand_ GUARDED_BY(errandLock_);

  // Counts what was put into the ring: the way through the kernel is no hand-over that the language
  // knows of; this one is.
  std::atomic<uint32_t> handedOver_{0};

  Mutex lock_;
  WaitCondition settling_;
  OperationQueue ready_ GUARDED_BY(lock_);
  OperationQueue slow_ GUARDED_BY(lock_);  // whose start may wait
  unsigned inFlight_ GUARDED_BY(lock_) = 0;
  unsigned slowInFlight_ GUARDED_BY(lock_) = 0;
  bool wakeAsked_ GUARDED_BY(lock_) = false;
  bool settled_ GUARDED_BY(lock_) = false;  // the closer need wait no longer
  bool isKept_ GUARDED_BY(lock_) = false;   // the closer did not wait for the last transfer
  std::atomic<bool> closed_{false};         // written under lock_
};
