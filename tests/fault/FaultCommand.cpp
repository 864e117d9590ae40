#include "tests/fault/FaultCommand.h"

#include <algorithm>
#include <cstring>

namespace {

using Context = CompletionPortHandlerCallbackContext;

// Tells of a transfer as it was to end.
unsigned tell(const CompletionCommand& command, const FaultState::Ending& ending,
              const Context& context) {
  const FaultPoints::Verdict& verdict = ending.verdict;
  if (verdict.error == 0 && !verdict.cutShort) return command.execute(context);
  uint32_t bytes = std::min(verdict.cutShort.value_or(0), context.bytesProcessed());
  // What a read did not reach is zero-filled; one that failed leaves no right byte behind it.
  if (!ending.write)
    std::memset(static_cast<unsigned char*>(ending.buffer) + bytes, 0, ending.bytes - bytes);
  bool succeeded = verdict.error == 0;
  if (!succeeded) OS()->getErrors()->setLastError(verdict.error);
  return command.execute({bytes, context.context(), succeeded});
}

// HeldEnd: the end of a transfer that is told later. The transfer is still in flight for whoever
// asked for it: its request and its buffer stay.
class HeldEnd final : public iTask {
public:
  HeldEnd(const CompletionCommand& command, const FaultState::Ending& ending,
          const Context& context)
      : command_(command), ending_(ending), context_(context) {}

  void run() override {
    nativeOS()->getThreads()->sleep(ending_.verdict.hold_ms);
    tell(command_, ending_, context_);
  }

private:
  CompletionCommand command_;
  FaultState::Ending ending_;
  Context context_;
};

}  // namespace

unsigned FaultCommand::executeWith(const CompletionPortHandlerCallbackContext& context) const {
  FaultState::Ending ending;
  if (!state_->take(context.context(), ending) || !context.succeeded())
    return command_.execute(context);
  if (ending.verdict.hold_ms == 0) return tell(command_, ending, context);
  FaultPause own;
  const Qv::Ptr<iTask> later(new HeldEnd(command_, ending, context));
  return state_->runLater(later) ? 1 : tell(command_, ending, context);
}
