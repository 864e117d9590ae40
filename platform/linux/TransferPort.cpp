#include "platform/linux/TransferPort.h"

#include "platform/Log.h"
#include "platform/common/Mutex.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/StayLoaded.h"

namespace {

// The kept ports hang together, so that what they hold can be found.
constinit Mutex keptLock;
constinit TransferPort* keptPorts GUARDED_BY(keptLock) = nullptr;
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
  stayLoaded();
  addRef();
  {
    MutexLock lock(keptLock);
    nextKept_ = keptPorts;
    keptPorts = this;
  }
  keptTransfers.fetch_add(transfers, std::memory_order_relaxed);
  Log("%llu transfers did not end in time; what they use is kept\n",
      static_cast<unsigned long long>(transfers));
}

void TransferPort::endKept(uint64_t transfers) {
  keptTransfers.fetch_sub(transfers, std::memory_order_relaxed);
}

void TransferPort::letGo() {
  {
    MutexLock lock(keptLock);
    TransferPort** place = &keptPorts;
    while (*place != this) place = &(*place)->nextKept_;
    *place = nextKept_;
  }
  if (decRef() == 0) delete this;
}
