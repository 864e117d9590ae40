#include "platform/linux/LinuxAsyncIo.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <new>

#include "platform/common/NeverDestroyed.h"
#include "platform/linux/LinuxCompletionPort.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/RingPort.h"
#include "platform/linux/ThreadPort.h"

namespace {

class LinuxAsyncContext final : public iAsyncContext, public Qv::PooledObject<LinuxAsyncContext> {};

bool threadsAreAskedFor() {
  const char* choice = std::getenv("FSYS_IO");
  return choice && std::strcmp(choice, "threads") == 0;
}

const char* whyNoRing(int error) {
  switch (error) {
    case ENOSYS:
      return "the kernel has no ring that can be used";
    case EPERM:
    case EACCES:
      return "rings are not permitted here";
    case ENOMEM:
      return "there is no memory for a ring";
    default:
      return "the system gives no ring";
  }
}

// A port on a ring, else on threads; with the description of what it has become.
Qv::Ptr<TransferPort> makeTransfers(const char* name, const CompletionCommand& command, int running,
                                    iAsyncIo::Description& description) {
  int error = 0;
  if (!threadsAreAskedFor()) {
    if (Qv::Ptr<TransferPort> ring = RingPort::make(name, command, error)) {
      description = {true, "", RingPort::kInFlightLimit, 0};
      return ring;
    }
  }
  Qv::Ptr<ThreadPort> threads(new ThreadPort(name, command, ThreadPort::threadsFor(running)));
  const char* why = error == 0 ? "FSYS_IO=threads" : whyNoRing(error);
  description = {false, why, threads->threadLimit(), 0};
  return threads;
}

class LinuxAsyncIo final : public iAsyncIo {
public:
  Qv::Ptr<iAsyncContext> createContext() override try {
    return Qv::Ptr<iAsyncContext>(new LinuxAsyncContext);
  } catch (const std::bad_alloc&) {
    failWith(eOsNoMemory);
    return nullptr;
  }

  Qv::Ptr<iCompletionPort> createPort(const char* name, const CompletionCommand& command, int,
                                      int running, int, int) override try {
    Qv::Ptr<LinuxCompletionPort> port(new LinuxCompletionPort);
    Description description;
    Qv::Ptr<TransferPort> transfers = makeTransfers(name, command, running, description);
    port->give(transfers, description);
    return port;
  } catch (const std::bad_alloc&) {
    failWith(eOsNoMemory);
    return nullptr;
  }

  // Whether a ring can be had shows only when all of it is made: that is tried.
  Description describe() override {
    Description answer = describePorts();
    answer.keptTransfers = TransferPort::transfersKept();
    return answer;
  }

private:
  static Description describePorts() try {
    Description answer;
    if (LinuxCompletionPort::describeExisting(answer)) return answer;
    makeTransfers("fsys", CompletionCommand(), ThreadPort::kMostThreads, answer)->close();
    return answer;
  } catch (const std::bad_alloc&) {
    return {false, whyNoRing(ENOMEM), ThreadPort::kMostThreads, 0};
  }
};

constinit NeverDestroyed<LinuxAsyncIo> theAsyncIo;

}  // namespace

iAsyncIo* linuxAsyncIo() { return &theAsyncIo.value; }
