#include "tests/fault/FaultCommand.h"

#include <algorithm>
#include <cstring>

unsigned FaultCommand::executeWith(const CompletionPortHandlerCallbackContext& context) const {
  FaultState::Ending ending;
  if (!state_->take(context.context(), ending) || !context.succeeded())
    return command_.execute(context);
  uint32_t bytes = std::min(ending.verdict.cutShort.value_or(0), context.bytesProcessed());
  // What a read did not reach is zero-filled; one that failed leaves no right byte behind it.
  if (!ending.write)
    std::memset(static_cast<unsigned char*>(ending.buffer) + bytes, 0, ending.bytes - bytes);
  bool succeeded = ending.verdict.error == 0;
  if (!succeeded) OS()->getErrors()->setLastError(ending.verdict.error);
  return command_.execute({bytes, context.context(), succeeded});
}
