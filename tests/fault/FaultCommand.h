#pragma once

#include "platform/OsAsyncIo.h"
#include "tests/fault/FaultState.h"

// FaultCommand: stands between a port and its command, and tells of a transfer that is to end badly
// as of one that has.
// Threads    the port's.
class FaultCommand final : public QvDC::CommandRep<CompletionPortHandlerCallbackContext> {
public:
  FaultCommand(const Qv::Ptr<FaultState>& state, const CompletionCommand& command)
      : state_(state), command_(command) {}

  unsigned executeWith(const CompletionPortHandlerCallbackContext& context) const override;

private:
  Qv::Ptr<FaultState> state_;
  CompletionCommand command_;
};
