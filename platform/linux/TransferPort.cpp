#include "platform/linux/TransferPort.h"

#include "platform/Log.h"
#include "platform/linux/LinuxFailure.h"

namespace {

// The kept ports hang together, so that what they hold can be found.
std::atomic<TransferPort*> keptPorts{nullptr};
std::atomic<uint64_t> keptTransfers{0};

}  // namespace

uint64_t TransferPort::transfersKept() { return keptTransfers.load(std::memory_order_relaxed); }

void TransferPort::report(AsyncOperation* operation, const CompletionCommand& command) {
  void* request = operation->context().takeLink();
  uint32_t bytes = operation->transfer().done();
  int error = operation->transfer().error();
  // Before the command: it may destroy the request, and the file with it.
  delete operation;
  if (!request) return;
  if (error != 0) failWithErrno(error);
  command.execute(CompletionPortHandlerCallbackContext(bytes, request, error == 0));
}

void TransferPort::drop(OperationQueue& operations) {
  while (AsyncOperation* operation = operations.pop()) delete operation;
}

void TransferPort::keepFor(uint64_t transfers) {
  addRef();
  nextKept_ = keptPorts.load(std::memory_order_relaxed);
  while (!keptPorts.compare_exchange_weak(nextKept_, this, std::memory_order_release)) {
  }
  keptTransfers.fetch_add(transfers, std::memory_order_relaxed);
  Log("%llu transfers did not end in time; what they use is kept\n",
      static_cast<unsigned long long>(transfers));
}
