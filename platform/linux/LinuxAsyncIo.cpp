#include "platform/linux/LinuxAsyncIo.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

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

class LinuxAsyncIo final : public iAsyncIo {
public:
  Qv::Ptr<iAsyncContext> createContext() override {
    return Qv::Ptr<iAsyncContext>(new LinuxAsyncContext);
  }

  Qv::Ptr<iCompletionPort> createPort(const char* name, const CompletionCommand& command, int,
                                      int running, int, int) override try {
    int error = 0;
    Qv::Ptr<TransferPort> transfers;
    if (!threadsAreAskedFor()) transfers = RingPort::make(name, command, error);
    if (!transfers) transfers = new ThreadPort(name, command, running);
    return Qv::Ptr<iCompletionPort>(new LinuxCompletionPort(transfers));
  } catch (const std::bad_alloc&) {
    failWith(eOsNoMemory);
    return nullptr;
  }

  Description describe() override {
    Description answer;
    answer.inFlightLimit = ThreadPort::kMostThreads;
    if (threadsAreAskedFor()) {
      answer.why = "FSYS_IO=threads";
    } else if (int error = RingPort::probe()) {
      answer.why = whyNoRing(error);
    } else {
      answer.ring = true;
      answer.inFlightLimit = RingPort::kInFlightLimit;
    }
    return answer;
  }
};

constinit NeverDestroyed<LinuxAsyncIo> theAsyncIo;

}  // namespace

iAsyncIo* linuxAsyncIo() { return &theAsyncIo.value; }
