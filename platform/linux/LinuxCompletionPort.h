#pragma once

#include "platform/OsAsyncIo.h"
#include "platform/common/Mutex.h"
#include "platform/linux/TransferPort.h"

// LinuxCompletionPort: what a completion handler holds. Its end closes the transfer port behind it,
// which the attached files keep.
// Story      Made empty, then given its transfer port, so that nothing can fail between the making
//            of that port and its close. From then on it is one of those that exist.
// Threads    made, given its port and destroyed by one at a time; describeExisting: any.
class LinuxCompletionPort final : public iCompletionPort {
public:
  LinuxCompletionPort() = default;
  ~LinuxCompletionPort() override;

  // Once, before the port is used.
  void give(const Qv::Ptr<TransferPort>& transfers, const iAsyncIo::Description& description);
  void setErrand(const Qv::Ptr<iTask>& errand) override { transfers_->setErrand(errand); }
  bool sendOnErrand() override { return transfers_->sendOnErrand(); }
  const Qv::Ptr<TransferPort>& transfers() const { return transfers_; }

  // Describes the ports that exist, as iAsyncIo::describe() says. False when there is none.
  static bool describeExisting(iAsyncIo::Description& answer);

private:
  // Fixed once it was given.
  Qv::Ptr<TransferPort> transfers_;
  iAsyncIo::Description description_;

  // The ports that exist hang together, the latest first.
  static Mutex lock_;
  static LinuxCompletionPort* latest_ GUARDED_BY(lock_);
  LinuxCompletionPort* earlier_ GUARDED_BY(lock_) = nullptr;
};
