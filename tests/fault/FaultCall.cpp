#include "tests/fault/FaultCall.h"

#include <cerrno>
#include <iterator>

#include "platform/OsErrors.h"

namespace {

// As OsErrors: the system's own numbers behind the base. Fixed: who asks may be a refused heap.
template <int... errors>
constexpr uint32_t kErrors[] = {eOsErrorBase + static_cast<uint32_t>(errors)...};

const char* const kNames[] = {
    "openMedia",      "openFile",     "openServed",   "getDisk",         "getDisks",
    "onDrive",        "getSpace",     "exists",       "getFileSize",     "deleteFile",
    "deleteMedia",    "createFolder", "folderExists", "isWritable",      "listFiles",
    "renameFile",     "syncFolder",   "followLinks",  "copyMode",        "markFile",
    "askLock",        "getUNCName",   "getShares",    "getSize",         "getInfo",
    "read",           "write",        "settle",       "flush",           "attach",
    "startRead",      "startWrite",   "finishRead",   "finishWrite",     "createContext",
    "createPort",     "createEvent",  "createThread", "createTaskQueue", "postTask",
    "allocateRegion", "allocate",
};
static_assert(std::size(kNames) == kFaultCalls);

// Of drives and names; none for the other calls.
std::span<const uint32_t> errorsOfNames(FaultCall call) {
  constexpr const auto& opening =
      kErrors<EACCES, ENOENT, EMFILE, ENFILE, ENOMEM, EROFS, EIO, ELOOP, ENOSPC, EINTR, EPERM,
              ENOTDIR, EISDIR, ENAMETOOLONG, EDQUOT, ETXTBSY, ENXIO, ESTALE, EOVERFLOW>;
  constexpr const auto& looking = kErrors<ENOENT, EACCES, EIO, ELOOP, ENOMEM, ENOTDIR, ESTALE>;
  constexpr const auto& judging = kErrors<EACCES, EROFS, ENOENT, EIO, ELOOP, ENOMEM, ENOTDIR>;
  constexpr const auto& changing = kErrors<EACCES, EPERM, EBUSY, EIO, ENOENT, EROFS, ENOSPC, ENOMEM,
                                           EDQUOT, ELOOP, ENOTDIR, EMLINK, EISDIR>;
  constexpr const auto& asking =
      kErrors<ETIMEDOUT, EIO, ENOENT, EACCES, ESTALE, ENOMEM, EINTR, ENOSYS, EOVERFLOW>;
  constexpr const auto& reckoning = kErrors<ENOMEM, EMFILE, ENFILE, EACCES, EIO>;
  constexpr const auto& listing =
      kErrors<ENOENT, EACCES, EIO, EMFILE, ENFILE, ENOMEM, ELOOP, ENOTDIR, ESTALE>;
  constexpr const auto& renaming = kErrors<EXDEV, EACCES, EPERM, EBUSY, EIO, ENOENT, EROFS, ENOSPC,
                                           ENOMEM, EDQUOT, ELOOP, ENOTDIR, EISDIR, ESTALE>;
  constexpr const auto& deleting =
      kErrors<EACCES, EPERM, EBUSY, EIO, ENOENT, EROFS, ENOMEM, ELOOP, ENOTDIR, EISDIR, ENOTEMPTY,
              EXDEV, EMFILE, ENFILE, ESTALE>;
  constexpr const auto& syncing =
      kErrors<EIO, ENOSPC, EDQUOT, EACCES, ENOENT, EMFILE, ENFILE, ENOMEM, EROFS>;
  switch (call) {
    case FaultCall::eOpenMedia:
    case FaultCall::eOpenFile:
    case FaultCall::eOpenServed:
      return opening;
    case FaultCall::eGetDisk:
    case FaultCall::eExists:
    case FaultCall::eGetFileSize:
    case FaultCall::eFolderExists:
    case FaultCall::eFollowLinks:
    case FaultCall::eAskLock:
      return looking;
    case FaultCall::eIsWritable:
      return judging;
    case FaultCall::eGetSpace:
      return asking;
    case FaultCall::eOnDrive:
      return kErrors<ETIMEDOUT, EAGAIN, ENOMEM>;
    case FaultCall::eGetDisks:
    case FaultCall::eGetUNCName:
    case FaultCall::eGetShares:
      return reckoning;
    case FaultCall::eListFiles:
      return listing;
    case FaultCall::eRenameFile:
      return renaming;
    case FaultCall::eSyncFolder:
      return syncing;
    case FaultCall::eDeleteMedia:
      return deleting;
    case FaultCall::eDeleteFile:
    case FaultCall::eCreateFolder:
    case FaultCall::eCopyMode:
    case FaultCall::eMarkFile:
      return changing;
    default:
      return {};
  }
}

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

std::span<const uint32_t> faultErrors(FaultCall call) {
  std::span<const uint32_t> ofNames = errorsOfNames(call);
  if (!ofNames.empty()) return ofNames;
  constexpr const auto& describing = kErrors<EIO, ENOMEM, EOVERFLOW, ESTALE, EBADF>;
  constexpr const auto& reading =
      kErrors<EIO, ENOMEM, ESTALE, EINTR, EAGAIN, EINVAL, EBADF, ENODEV, ETIMEDOUT>;
  constexpr const auto& writing = kErrors<EIO, ENOSPC, EDQUOT, EFBIG, ENOMEM, ESTALE, EINTR, EAGAIN,
                                          EINVAL, EROFS, EPERM, ENODEV, ETIMEDOUT>;
  constexpr const auto& settling = kErrors<EIO, ENOSPC, EDQUOT, EBADF>;
  constexpr const auto& starting = kErrors<ENOMEM, EAGAIN, ECANCELED, EINVAL, EBADF>;
  constexpr const auto& attaching = kErrors<EOPNOTSUPP, EINVAL, ENOMEM>;
  constexpr const auto& threads = kErrors<EAGAIN, ENOMEM, EPERM>;
  constexpr const auto& porting = kErrors<ENOMEM, EPERM, ENOSYS, EAGAIN, EMFILE>;
  constexpr const auto& memory = kErrors<ENOMEM>;
  switch (call) {
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
    case FaultCall::eFlush:
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
