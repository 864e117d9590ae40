#include "tests/fault/FaultAsyncIo.h"

#include "tests/fault/FaultCommand.h"

Qv::Ptr<iAsyncContext> FaultAsyncIo::createContext() {
  if (uint32_t error = state_->points().next(FaultCall::eCreateContext).error) {
    failFault(error);
    return {};
  }
  return inner_.getAsyncIo()->createContext();
}

Qv::Ptr<iCompletionPort> FaultAsyncIo::createPort(const char* name,
                                                  const CompletionCommand& command, int waiting,
                                                  int running, int queued, int kept) {
  if (uint32_t error = state_->points().next(FaultCall::eCreatePort).error) {
    failFault(error);
    return {};
  }
  CompletionCommand between;
  {
    FaultPause own;
    between = CompletionCommand(Qv::Ptr<QvDC::CommandRep<CompletionPortHandlerCallbackContext>>(
        new FaultCommand(state_, command)));
  }
  return inner_.getAsyncIo()->createPort(name, between, waiting, running, queued, kept);
}
