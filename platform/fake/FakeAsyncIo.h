#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "platform/OsAsyncIo.h"
#include "platform/fake/FakeContent.h"
#include "platform/fake/FakeErrors.h"
#include "platform/fake/FakeTransferWatcher.h"
#include "platform/fake/FaultPlan.h"

class FakeFileManager;
class FakeThreads;

// FakePortState: what is known of a port; it outlives the port.
struct FakePortState {
  std::string name;
  int waiting = 0;
  int running = 0;
  int queued = 0;
  int kept = 0;
  CompletionCommand command;
  Qv::Ptr<iTask> errand;
  bool isAsked = false;  // sent on it, and it has not run
  bool alive = true;
  unsigned executed = 0;  // commands
  unsigned ended = 0;     // which of the ports that have ended it was, from 1
};

// FakeTransfer: a transfer that was started and has not finished.
struct FakeTransfer {
  bool write = false;
  uint64_t offset = 0;
  uint32_t bytes = 0;
  void* buffer = nullptr;
  void* request = nullptr;
  std::wstring path;
  bool stalled = false;  // never finishes by itself
  uint64_t number = 0;   // of all transfers that were started, from 1

  // The fake's own.
  Qv::Ptr<iObject> keep;
  Qv::Ptr<iAsyncContext> context;
  std::shared_ptr<FakeContent> content;
  std::shared_ptr<FakePortState> port;
};

// FakeAsyncIo: transfers that finish when the test, or a wait, says so.
// Story      A started transfer is pending. The bytes move when it finishes, not before, so that a
//            buffer that is gone by then shows. A wait finishes the oldest that is neither stalled
//            nor held; the test finishes any, in any order, well or badly. Then the request's link
//            is taken and the port's command is executed, on the stack of who finished it, with a
//            last error of its own. A transfer whose link was cut is dropped and counted; one whose
//            port is gone ends without being reported, its link left as it is.
// Threads    one.
// Ownership  the buffer's keeper and the context are let go before the command is executed.
class FakeAsyncIo final : public iAsyncIo {
public:
  FakeAsyncIo(FakeThreads& threads, FaultPlan& faults, FakeErrors& errors)
      : threads_(threads), faults_(faults), errors_(errors) {}

  Qv::Ptr<iAsyncContext> createContext() override;
  Qv::Ptr<iCompletionPort> createPort(const char* name, const CompletionCommand& command,
                                      int waiting, int running, int queued, int kept) override;
  Description describe() override { return description_; }
  void setDescription(const Description& description) { description_ = description; }

  // Oldest first. A reference is good until the next call of anything in the fake.
  const std::deque<FakeTransfer>& pending() const { return pending_; }
  // Finish the `index`-th pending transfer; held or stalled or not. False when there is none.
  bool finish(size_t index = 0);
  // A read ends there, as at the end of the file; a write is told as a success.
  bool finishShort(size_t index, uint32_t bytes);
  // Fails after `bytes` were moved.
  bool fail(size_t index, uint32_t error, uint32_t bytes = 0);
  // Finishes, oldest first, until none is left but stalled ones; also those that callbacks start.
  // How many.
  unsigned finishAll();
  // The transfer never finishes, unless finish, finishShort or fail names it.
  void stall(size_t index) { pending_[index].stalled = true; }
  // While on, waits and FakeOS::run leave pending transfers alone.
  void hold(bool on) { held_ = on; }

  // Whether ports are waiting, so that they can be sent on errands; at first they are not. Runs the
  // errand of every port that was sent. How many.
  void takeErrands(bool on) { takesErrands_ = on; }
  bool takesErrands() const { return takesErrands_; }
  unsigned runErrands();

  // Finished transfers whose link had been cut, and whose port had gone.
  unsigned lateDropped() const { return lateDropped_; }
  unsigned unreported() const { return unreported_; }
  unsigned reported() const { return reported_; }
  // Every port that was made, in order.
  const std::vector<std::shared_ptr<FakePortState>>& ports() const { return ports_; }
  unsigned livePorts() const;
  // Contexts that exist.
  unsigned liveContexts() const { return *liveContexts_; }
  // Null: none. It sees what starts and moves, and ends transfers in the waits' stead.
  void setWatcher(FakeTransferWatcher* watcher) { watcher_ = watcher; }
  FakeTransferWatcher* watcher() const { return watcher_; }

  // For the fake.
  void start(FakeTransfer transfer);
  bool finishNext();
  // Forgets what is pending: nothing is reported.
  void dropAll();
  void setFileManager(FakeFileManager* files) { files_ = files; }
  void endPort(FakePortState& port) { port.ended = ++endedPorts_; }

private:
  bool finishWith(size_t index, uint32_t error, uint32_t mostBytes);
  uint32_t move(const FakeTransfer& transfer, uint32_t mostBytes, uint32_t& error);
  void* takeRequest(const FakeTransfer& transfer);
  void report(FakeTransfer& transfer, void* request, uint32_t done, uint32_t error);

  FakeThreads& threads_;
  FaultPlan& faults_;
  FakeErrors& errors_;
  FakeFileManager* files_ = nullptr;
  std::deque<FakeTransfer> pending_;
  std::vector<std::shared_ptr<FakePortState>> ports_;
  Description description_{false, "completions are run by hand", 256};
  unsigned lateDropped_ = 0;
  unsigned unreported_ = 0;
  unsigned reported_ = 0;
  unsigned endedPorts_ = 0;
  uint64_t started_ = 0;
  FakeTransferWatcher* watcher_ = nullptr;
  // Shared: a context may outlive the fake.
  std::shared_ptr<unsigned> liveContexts_ = std::make_shared<unsigned>(0);
  bool held_ = false;
  bool takesErrands_ = false;
};
