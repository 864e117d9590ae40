#pragma once

#include "tests/fault/FaultState.h"
#include "tests/support/ForwardingOS.h"

// FaultAsyncIo: the asynchronous I/O of the system below, of which a part may be refused.
class FaultAsyncIo final : public iAsyncIo {
public:
  FaultAsyncIo(const Qv::Ptr<FaultState>& state, iOS& inner) : state_(state), inner_(inner) {}

  Qv::Ptr<iAsyncContext> createContext() override;
  Qv::Ptr<iCompletionPort> createPort(const char* name, const CompletionCommand& command,
                                      int waiting, int running, int queued, int kept) override;
  Description describe() override { return inner_.getAsyncIo()->describe(); }

private:
  Qv::Ptr<FaultState> state_;
  iOS& inner_;
};
