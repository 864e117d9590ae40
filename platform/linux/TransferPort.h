#pragma once

#include <cstdint>

#include "platform/OsAsyncIo.h"
#include "platform/linux/AsyncOperation.h"

// TransferPort: carries transfers out and executes a command for each that has ended.
// Story      Made for one completion port, which closes it as it goes; files that are attached keep
//            it, closed, for as long as they live. Transfers that the system does not let go of in
//            time keep a closed port and their own memory until it does: nothing is ever freed
//            under the kernel.
// Threads    any. Commands run on the port's own threads, no lock held; they may start transfers.
// Ownership  a transfer that was started belongs to the port.
// States     open | takes transfers                     -> closed, by close()
//            closed | takes none, executes no command
class TransferPort : public virtual Qv::InternalRefCount {
public:
  // How long closing waits for transfers in flight, and again after it has tried to cancel them.
  static constexpr unsigned kDrain_ms = 2000;
  static constexpr unsigned kCancel_ms = 500;

  // 1: the transfer is the port's now. Otherwise an OsError, and it stays the caller's.
  virtual uint32_t start(AsyncOperation* operation) = 0;
  // See CompletionPortHandler. A port that has no thread to send takes no errand.
  virtual void setErrand(const Qv::Ptr<iTask>&) {}
  virtual bool sendOnErrand() { return false; }
  // Returns when no command runs and none can start. Once; not from a command.
  virtual void close() = 0;

  // Transfers of all closed ports that the system has not let go of to this moment.
  static uint64_t transfersKept();

protected:
  // Ends an operation and executes the command for it, unless its link was cut.
  static void report(AsyncOperation* operation, const CompletionCommand& command);
  // Ends the operations without a word; their links stay.
  static void drop(OperationQueue& operations);
  // This closed port lives on for that many transfers, and is told when they end after all: of each
  // by endKept(), and when there are no more by letGo(), which may be the port's end.
  void keepFor(uint64_t transfers);
  static void endKept(uint64_t transfers);
  void letGo();

private:
  TransferPort* nextKept_ = nullptr;  // guarded by a lock that all ports share
};
