#include "tests/fault/FaultCall.h"

#include <cerrno>
#include <iterator>

#include "platform/OsErrors.h"

namespace {

using Errors = std::vector<uint32_t>;

// As OsErrors: the system's own numbers behind the base.
Errors numbered(std::initializer_list<int> errors) {
  Errors all;
  for (int error : errors) all.push_back(eOsErrorBase + static_cast<uint32_t>(error));
  return all;
}

const char* const kNames[] = {
    "openMedia",   "openFile",     "openServed",      "getDisk",       "exists",
    "getFileSize", "deleteFile",   "createFolder",    "getSize",       "getInfo",
    "read",        "write",        "settle",          "attach",        "startRead",
    "startWrite",  "finishRead",   "finishWrite",     "createContext", "createPort",
    "createEvent", "createThread", "createTaskQueue", "postTask",      "allocateRegion",
    "allocate"};
static_assert(std::size(kNames) == kFaultCalls);

}  // namespace

std::vector<FaultCall> everyFaultCall() {
  std::vector<FaultCall> all;
  for (size_t i = 0; i < kFaultCalls; ++i) all.push_back(static_cast<FaultCall>(i));
  return all;
}

const char* faultCallName(FaultCall call) { return kNames[static_cast<size_t>(call)]; }

bool isTransfer(FaultCall call) {
  return call == FaultCall::eRead || call == FaultCall::eWrite || call == FaultCall::eFinishRead ||
         call == FaultCall::eFinishWrite;
}

const std::vector<uint32_t>& faultErrors(FaultCall call) {
  static const Errors opening =
      numbered({EACCES, ENOENT, EMFILE, ENFILE, ENOMEM, EROFS, EIO, ELOOP, ENOSPC, EINTR, EPERM,
                ENOTDIR, EISDIR, ENAMETOOLONG, EDQUOT, ETXTBSY, ENXIO, ESTALE, EOVERFLOW});
  static const Errors looking = numbered({ENOENT, EACCES, EIO, ELOOP, ENOMEM, ENOTDIR, ESTALE});
  static const Errors changing = numbered({EACCES, EPERM, EBUSY, EIO, ENOENT, EROFS, ENOSPC, ENOMEM,
                                           EDQUOT, ELOOP, ENOTDIR, EMLINK, EISDIR});
  static const Errors describing = numbered({EIO, ENOMEM, EOVERFLOW, ESTALE, EBADF});
  static const Errors reading =
      numbered({EIO, ENOMEM, ESTALE, EINTR, EAGAIN, EINVAL, EBADF, ENODEV, ETIMEDOUT});
  static const Errors writing = numbered({EIO, ENOSPC, EDQUOT, EFBIG, ENOMEM, ESTALE, EINTR, EAGAIN,
                                          EINVAL, EROFS, EPERM, ENODEV, ETIMEDOUT});
  static const Errors settling = numbered({EIO, ENOSPC, EDQUOT, EBADF});
  static const Errors starting = numbered({ENOMEM, EAGAIN, ECANCELED, EINVAL, EBADF});
  static const Errors attaching = numbered({EOPNOTSUPP, EINVAL, ENOMEM});
  static const Errors threads = numbered({EAGAIN, ENOMEM, EPERM});
  static const Errors porting = numbered({ENOMEM, EPERM, ENOSYS, EAGAIN, EMFILE});
  static const Errors memory = numbered({ENOMEM});
  switch (call) {
    case FaultCall::eOpenMedia:
    case FaultCall::eOpenFile:
    case FaultCall::eOpenServed:
      return opening;
    case FaultCall::eGetDisk:
    case FaultCall::eExists:
    case FaultCall::eGetFileSize:
      return looking;
    case FaultCall::eDeleteFile:
    case FaultCall::eCreateFolder:
      return changing;
    case FaultCall::eGetSize:
    case FaultCall::eGetInfo:
      return describing;
    case FaultCall::eRead:
    case FaultCall::eFinishRead:
      return reading;
    case FaultCall::eWrite:
    case FaultCall::eFinishWrite:
      return writing;
    case FaultCall::eSettle:
      return settling;
    case FaultCall::eStartRead:
    case FaultCall::eStartWrite:
      return starting;
    case FaultCall::eAttach:
      return attaching;
    case FaultCall::eCreatePort:
      return porting;
    case FaultCall::eCreateThread:
    case FaultCall::ePostTask:
      return threads;
    default:
      return memory;
  }
}
