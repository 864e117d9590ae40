#pragma once

#include <utility>

#include "platform/OsAsyncIo.h"
#include "platform/linux/TransferPort.h"

// LinuxCompletionPort: what a completion handler holds. Its end closes the transfer port behind it,
// which the attached files keep.
class LinuxCompletionPort final : public iCompletionPort {
public:
  explicit LinuxCompletionPort(Qv::Ptr<TransferPort> transfers)
      : transfers_(std::move(transfers)) {}
  ~LinuxCompletionPort() override { transfers_->close(); }

  const Qv::Ptr<TransferPort>& transfers() const { return transfers_; }

private:
  Qv::Ptr<TransferPort> transfers_;
};
