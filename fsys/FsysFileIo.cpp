// FsysFile's operations of the platform: opening, transfers, completion.

#include <limits>
#include <new>

#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fsys/HolderCapacity.h"
#include "fsys/LinkTarget.h"
#include "fsys/MaterialLink.h"
#include "fsys/ResultCodes.h"
#include "fsys/ServedTransfer.h"
#include "platform/Log.h"
#include "platform/OS.h"

namespace {

enum OpenMode : unsigned {
  eOpenProbe = 0,
  eOpenAsync = iFileManager::eModeAsync,
  eOpenDirect = iFileManager::eModeDirect | iFileManager::eModeAsync,
  eOpenDirectWithOwner = eOpenDirect | iFileManager::eModeSetOwner,
};
static_assert(eOpenAsync == 2 && eOpenDirect == 3 && eOpenDirectWithOwner == 7);

OpenMode openMode(uint32_t flags, bool network) {
  if (flags & iFileManager::eFlagRead)
    return EngineSettings::DontBuffNetReads == 0 && network ? eOpenAsync : eOpenDirect;
  if ((flags & iFileManager::eFlagWrite) && network && EngineSettings::DisableSetOwner == 0)
    return eOpenDirectWithOwner;
  return eOpenDirect;
}

uint32_t remember(uint32_t error) {
  OsAtomics::store(FsysError, error);
  return error;
}

}  // namespace

uint32_t FsysFile::LowLevelOpen(const LightweightString<wchar_t>& path, uint32_t flags,
                                bool network) {
  iFileManager* files = OS()->getFileManager();
  bool write = (flags & iFileManager::eFlagWrite) != 0;
  unsigned disposition = iFileManager::eOpenOrCreateNeverTruncate;
  probe_ = files->openMedia(path, flags, write, disposition, eOpenProbe);
  if (probe_ && probe_->isOpen()) {
    LightweightString<wchar_t> resolved;
    // Only a link that cannot be read leaves nothing to open, and has said why.
    bool isLink = MaterialLink::getLinkedFilename(path, resolved);
    if (isLink && !resolved.empty() && !hasOwnFolder(resolved)) return eOsInvalid;
    if (isLink || !resolved.empty())
      file_ = files->openMedia(resolved, flags, write, disposition, openMode(flags, network));
    if (file_ && file_->isOpen()) return eResultOk;
  }
  uint32_t error = OS()->getErrors()->getLastError();
  return error == 0 || error == eResultOk ? uint32_t{eOsIoError} : error;
}

uint32_t FsysFile::LowLevelClose() {
  attached_ = false;
  probe_.reset();
  file_.reset();
  return eResultOk;
}

uint32_t FsysFile::LowLevelRead(void* buffer, uint32_t bytes) {
  if (bytes == 0) return eResultOk;
  if (!file_ || !buffer) return remember(eOsInvalid);
  uint32_t done = 0;
  uint32_t result = file_->readAt(position_.get(), buffer, bytes, &done);
  if (result != eResultOk) return remember(result);
  return done > 0 ? eResultOk : eResultFailed;
}

uint32_t FsysFile::LowLevelWrite(void* buffer, uint32_t bytes) {
  if (bytes == 0) return eResultOk;
  if (!file_ || !buffer) return remember(eOsInvalid);
  uint32_t done = 0;
  uint32_t result = file_->writeAt(position_.get(), buffer, bytes, &done);
  return result == eResultOk ? result : remember(result);
}

uint32_t FsysFile::LowLevelGetInfo(FILE_INFO* info) {
  return file_ ? file_->getInfo(info) : uint32_t{eOsInvalid};
}

uint32_t FsysFile::SetUpIoCompletionNotify(CompletionPortHandler* handler) {
  if (!file_ || !handler) return eOsInvalid;
  uint32_t result = file_->attach(handler);
  attached_ = result == eResultOk && isASyncIOSupported();
  return result;
}

uint32_t FsysFile::LowLevelAsyncRead(FileRequest* request) { return startTransfer(request, false); }

uint32_t FsysFile::LowLevelAsyncWrite(FileRequest* request) { return startTransfer(request, true); }

uint32_t FsysFile::startTransfer(FileRequest* request, bool write) {
  // A request that no list holds is counted here, so that a drain waits for it too.
  bool unlisted = request->status() == FileRequest::CONSTRUCTED;
  if (unlisted) {
    request->unlisted_ = true;
    request->setStatus(FileRequest::STARTED);
    countOutstanding(request->is_read_, request->ByteCount_);
  }
  uint32_t result = handOver(request, write);
  if (result != eResultOk && unlisted) {
    countOutstanding(request->is_read_, -int64_t{request->ByteCount_});
    request->setStatus(FileRequest::FAILED);
  }
  return result;
}

// Nothing longer than its holder, or past the last offset, reaches the system.
uint32_t FsysFile::handOver(FileRequest* request, bool write) {
  if (!file_) return eOsInvalid;
  if (!request->asyncContext_) request->asyncContext_ = OS()->getAsyncIo()->createContext();
  if (!request->asyncContext_) return eOsNoMemory;
  AsyncTransfer transfer;
  transfer.offset = request->transferOffset();
  transfer.buffer = request->transferBuffer();
  transfer.bytes = static_cast<uint32_t>(request->transferBytes());
  transfer.keep = request->transferKeep();
  transfer.request = request;
  bool fits = write ? request->holderSuffices()
                    : request->buffer_ && transfer.bytes <= holderCapacity(*request->buffer_);
  uint64_t lastOffset = static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
  if (!fits || !transfer.buffer || transfer.offset > lastOffset - transfer.bytes) return eOsInvalid;

  request->startTime_ms_ = Qv::now();
  request->beginTransfer();
  uint32_t result;
  if (!attached_)
    result = serveTransfer(request, transfer, write);
  else if (request->carriedByCaller_)
    result = leaveToCaller(request, transfer);
  else if (write)
    result = file_->startWrite(request->asyncContext_, transfer);
  else
    result = file_->startRead(request->asyncContext_, transfer);
  if (result != eResultOk) request->endTransfer();
  return result;
}

uint32_t FsysFile::serveTransfer(FileRequest* request, const AsyncTransfer& transfer, bool write) {
  iTaskQueue* queue = theFsys ? theFsys->servedTransfers() : nullptr;
  if (!queue) return eOsNotSupported;
  auto way = write ? ServedTransfer::eWrite : ServedTransfer::eRead;
  Qv::Ptr<ServedTransfer> task(new (std::nothrow)
                                   ServedTransfer(file_, request->asyncContext_, transfer, way));
  if (!task) return eOsNoMemory;
  if (queue->post(task)) return eResultOk;
  // Not taken: the request ends here, not in the task.
  request->asyncContext_->takeLink();
  return eOsNoMemory;
}

// For a write whose caller waits for it: he is woken to make it, unless this is his own pass.
uint32_t FsysFile::leaveToCaller(FileRequest* request, const AsyncTransfer& transfer) {
  auto way = request->behind_ ? ServedTransfer::eWriteBehind : ServedTransfer::eWrite;
  if (request->behind_) wroteBehind_.set(true);
  request->ownTransfer_ = Qv::Ptr<iTask>(
      new (std::nothrow) ServedTransfer(file_, request->asyncContext_, transfer, way));
  if (!request->ownTransfer_) return eOsNoMemory;
  request->waiter_->signal();
  return eResultOk;
}

// Before the file goes: what the system still has of it is on its disk then, or it is said.
void FsysFile::settleWrites() {
  if (!file_ || !wroteBehind_.get()) return;
  wroteBehind_.set(false);
  uint32_t result = file_->settle();
  if (result == eResultOk) return;
  remember(result);
  // A close goes through also without memory for the name.
  try {
    Log("Not all of %s reached its disk: error 0x%x\n", toUTF8(name_).c_str(), result);
  } catch (const std::bad_alloc&) {
    Log("Not all of a file reached its disk: error 0x%x\n", result);
  }
}
