// FsysFile's request queues: entering, merging, starting, failing and giving up.

#include <new>

#include "fsys/DeliveryScope.h"
#include "fsys/DiskManager.h"
#include "fsys/EngineSettings.h"
#include "fsys/EnteredWrite.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fsys/FsysPoll.h"
#include "fsys/IoCompletion.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"
#include "platform/OS.h"

namespace {

constexpr uint32_t kMostStartRetries = 39;
// A kept read whose stamp is larger than this is not chosen.
constexpr uint64_t kLargestLastUse = 4294967294;

uint32_t setting(int value) { return static_cast<uint32_t>(value); }

// Who is telling callers must not wait: the completion would have to come from this very thread.
void waitFor(iThreadEvent& waiter) {
  if (!DeliveryScope::active()) waiter.wait(iThreadEvent::kForever);
}

}  // namespace

// A callback on a completion thread needs no poller: the thread makes the pass itself, once the
// callbacks have returned. That spares two changes of thread a request.
void FsysFile::kickPoll() {
  if (DeliveryScope::takeKick(this)) return;
  if (poll_) poll_->Rouse();
}

bool FsysFile::mayDefer(const FileRequest* request) const {
  return request->deferrable_ && EngineSettings::deferRequests;
}

void FsysFile::countDeferred() {
  if (deferredCount_.add(1) > setting(EngineSettings::ForcePollLimit)) kickPoll();
}

void FsysFile::countOutstanding(bool read, int64_t delta) {
  uint32_t wrapped = static_cast<uint32_t>(delta);
  (read ? readBytesOutstanding_ : writeBytesOutstanding_).add(wrapped);
  if (!theFsys) return;
  (read ? theFsys->readBytesOutstanding_ : theFsys->writeBytesOutstanding_).add(wrapped);
}

bool FsysFile::mergeLocked(RequestList* list, FileRequest* request) {
  for (FileRequest* queued : *list) {
    if (!queued->Coalesce(request)) continue;
    request->release();
    return true;
  }
  return false;
}

// False, and nothing is counted, when the list cannot grow.
bool FsysFile::appendLocked(RequestList* list, FileRequest* request) {
  try {
    list->add(request);
  } catch (const std::bad_alloc&) {
    OsAtomics::store(FsysError, uint32_t{eOsNoMemory});
    return false;
  }
  if (Fsys::BufferSpace_)
    Fsys::BufferSpace_->AddPendingBytes(static_cast<int>(request->ByteCount_));
  request->setStatus(FileRequest::QUEUED);
  countOutstanding(request->is_read_, request->ByteCount_);
  return true;
}

uint32_t FsysFile::QueueReadRequest(FileRequest* request) {
  if (!request || closing_ || !lock_) return eResultFailed;
  FilePin pin(this);
  bool defer = mayDefer(request);
  // Shared: the request may be merged away or finished before the wait begins.
  Qv::Ptr<iThreadEvent> waiter = request->waiter_;
  bool merged;
  {
    CriticalSectionLock lock(*lock_);
    // A closer fails what it finds in the list, once: nothing may come after it.
    if (closing_) return eResultFailed;
    merged = mergeLocked(readRequests_, request);
    if (!merged && !appendLocked(readRequests_, request)) return eResultFailed;
  }
  if (!defer || (waiter && !merged)) kickPoll();
  if (waiter) waitFor(*waiter);
  if (defer && (merged || !waiter)) countDeferred();
  return eResultOk;
}

uint32_t FsysFile::QueueWriteRequest(FileRequest* request) {
  if (!request) return eResultFailed;
  FilePin pin(this);
  EnteredWrite write(*this, request);
  uint32_t result = enterWrite(request);
  if (result == eResultOk) followEnteredWrite(write);
  return result;
}

bool FsysFile::isCountedAsDeferred(const FileRequest* write) const {
  return write->deferrable_ && !write->waiter_;
}

// Puts a write into the list, or into another one there. It waits for nothing.
uint32_t FsysFile::enterWrite(FileRequest* request) {
  if (closing_ || !lock_) return eResultFailed;
  if (CheckRequestListSize(writeRequests_) != eResultOk) return eResultFailed;
  CriticalSectionLock lock(*lock_);
  if (closing_) return eResultFailed;
  bool mayMerge = isCountedAsDeferred(request) && mayDefer(request);
  if (mayMerge && mergeLocked(writeRequests_, request)) return eResultOk;
  return appendLocked(writeRequests_, request) ? eResultOk : eResultFailed;
}

// What its caller does once a write is in the list.
void FsysFile::followEnteredWrite(EnteredWrite& write) {
  if (write.countsAsDeferred) return countDeferred();
  if (write.byCaller) {
    carryOwnWrite(write.request);
    StartRequests(writeRequests_);
    return;
  }
  // A synchronous write is started by the poller's own pass; the kick comes after it.
  if (write.waiter) waitFor(*write.waiter);
  kickPoll();
}

// Where that is quicker than being woken: a write that its caller waits for anyway.
bool FsysFile::isCarriedByCaller(const FileRequest* write) const {
  return write->waiter_ && attached_ && !DeliveryScope::active() &&
         (file_->getCapabilities() & iFile::eTransfersByCaller) != 0;
}

// The caller makes the poller's pass over this file, and then the transfer. It may be another's
// pass that starts the request: then the event says so, as it says later that all is done.
void FsysFile::carryOwnWrite(FileRequest* request) {
  StartRequests(writeRequests_);
  for (bool isOver = false; !isOver;) {
    request->waiter_->wait(iThreadEvent::kForever);
    Qv::Ptr<iTask> own = takeOwnTransfer(request);
    isOver = !own;
    if (own) own->run();
  }
}

Qv::Ptr<iTask> FsysFile::takeOwnTransfer(FileRequest* request) {
  CriticalSectionLock lock(*lock_);
  Qv::Ptr<iTask> own;
  own.swap(request->ownTransfer_);
  return own;
}

uint32_t FsysFile::CheckRequestListSize(RequestList* list) {
  if (!list) return eResultFailed;
  if (deferredCount_.get() > 2 * setting(EngineSettings::ForcePollLimit)) return eResultListFull;
  auto isWithinLimit = [this, list] {
    CriticalSectionLock lock(*lock_);
    return list->size() <= setting(EngineSettings::MaxRequestListSize);
  };
  if (isWithinLimit()) return eResultOk;
  OsAtomics::store(FsysError, uint32_t{eResultListFull});
  removeOldestRequest(list);
  kickPoll();
  if (isWithinLimit()) return eResultOk;
  OsAtomics::store(FsysError, uint32_t{eResultListFull});
  return eResultFailed;
}

void FsysFile::removeOldestRequest(RequestList* list) {
  CriticalSectionLock lock(*lock_);
  removeOldestLocked(list);
}

void FsysFile::removeOldestLocked(RequestList* list) {
  for (size_t i = list->size(); i-- > 1;) {
    FileRequest* request = (*list)[i];
    if (request->status() != FileRequest::COMPLETED || request->lastUse_ > kLargestLastUse)
      continue;
    list->removeIdx(i);
    request->abandon();
    return;
  }
}

// The start pass ---------------------------------------------------------------------------------

uint32_t FsysFile::StartRequests(RequestList* list) {
  FilePin pin(this);
  return startPinned(list);
}

uint32_t FsysFile::startPinned(RequestList* list) {
  foundWork_.set(false);
  // A pass goes over every file, and nearly none is asked about.
  Qv::Ptr<MediaDrive> volume = mayNameVolume_ ? DiskManager::getVolume(name_) : nullptr;
  if (volume && deferredCount_.get() == 0) volume->setBusy(false);
  deferredCount_.set(0);

  CriticalSectionLock lock(*lock_);
  if (list->empty()) return eResultOk;
  sweepFailedLocked(list);
  removeOldestLocked(list);
  if (!startQueuedLocked(list)) return eResultFailed;
  removeOldestLocked(list);
  if (foundWork_ && EngineSettings::ShowRequestDebug) tellStarted();
  return eResultOk;
}

void FsysFile::tellStarted() const try {
  Log("Started requests of %s\n", toUTF8(name_).c_str());
} catch (const std::bad_alloc&) {
  Log("Started requests of a file\n");
}

// Failed transfers have told their callers; here they go, and what they still count is taken off.
void FsysFile::sweepFailedLocked(RequestList* list) {
  bool swept = false;
  for (size_t i = 0; i < list->size();) {
    FileRequest* request = (*list)[i];
    if (request->status() != FileRequest::FAILED) {
      ++i;
      continue;
    }
    list->removeIdx(i);
    countOutstanding(request->is_read_, -int64_t{request->ByteCount_});
    request->abandon();
    swept = true;
  }
  if (swept) CheckOutstandingWrites();
}

// Whoever makes the pass has nobody to throw to: what finds no memory fails like another start.
uint32_t FsysFile::startOne(FileRequest* request) try {
  return request->StartRequest(this);
} catch (const std::bad_alloc&) {
  return eOsNoMemory;
}

// By index, since a callback may change the list under the walk. False when a start failed.
bool FsysFile::startQueuedLocked(RequestList* list) {
  // What callbacks add behind the end waits for the next pass.
  const size_t end = list->size();
  for (size_t i = 0; i < end && i < list->size(); ++i) {
    FileRequest* request = (*list)[i];
    if (request->status() != FileRequest::QUEUED) continue;
    request->setStatus(FileRequest::STARTED);
    uint32_t result = startOne(request);
    if (result == eResultOk) {
      foundWork_.set(true);
      if (request->startedWithoutTransfer_) finishWithoutTransfer(request);
    } else if (result == eResultNoBufferSpace && ++request->startRetries_ <= kMostStartRetries) {
      request->setStatus(FileRequest::QUEUED);
    } else {
      foundWork_.set(true);
      failStartLocked(list, request, result);
      return false;
    }
  }
  return true;
}

// All of it went to the segment, or there was nothing to transfer: its callers are answered now.
void FsysFile::finishWithoutTransfer(FileRequest* request) {
  request->startTime_ms_ = Qv::now();
  request->retain();
  IOCompletionReceiver::finish(request, request->ByteCount_, true);
  request->release();
}

void FsysFile::failStartLocked(RequestList* list, FileRequest* request, uint32_t code) {
  Log("Failed starting request ECODE %8x\n", code);
  countOutstanding(request->is_read_, -int64_t{request->ByteCount_});
  request->retain();
  {
    DeliveryScope scope(request);
    request->NotifyError(code, 0);
  }
  request->setStatus(FileRequest::FAILED);
  // A callback may have closed the file, and the list with it.
  if (list->remove(request)) request->abandon();
  request->release();
  CheckOutstandingWrites();
}

// Giving up --------------------------------------------------------------------------------------

// Tells the callers of what will not be transferred any more. What is given up leaves the list
// first, all at once: a pass on a completion thread may still come.
void FsysFile::failUnfinished(RequestList* list) {
  for (FileRequest* request = takeUnfinished(list); request;) {
    FileRequest* next = request->nextGivenUp_;
    {
      DeliveryScope scope(request);
      request->NotifyError(eOsCancelled, 0);
    }
    request->setStatus(FileRequest::FAILED);
    request->release();
    request = next;
  }
}

// The first of a chain in the list's order; null when there is none. Nothing is asked of the heap:
// a close goes through.
FileRequest* FsysFile::takeUnfinished(RequestList* list) {
  FileRequest* first = nullptr;
  FileRequest** end = &first;
  CriticalSectionLock lock(*lock_);
  for (size_t i = 0; i < list->size();) {
    FileRequest* request = (*list)[i];
    uint32_t status = request->status();
    bool cut = status == FileRequest::STARTED && request->cutOff();
    if (status != FileRequest::QUEUED && !cut) {
      ++i;
      continue;
    }
    list->removeIdx(i);
    *end = request;
    end = &request->nextGivenUp_;
    countOutstanding(request->is_read_, -int64_t{request->ByteCount_});
  }
  return first;
}

// A request that leaves its list untold: whoever waits for it goes on, and what is still counted
// for it is taken off, unless its completion has begun and will do that.
void FsysFile::dropLocked(FileRequest* request) {
  request->wakeWaiters();
  uint32_t status = request->status();
  bool cut = request->cutOff();
  if (cut || status == FileRequest::QUEUED || status == FileRequest::FAILED)
    countOutstanding(request->is_read_, -int64_t{request->ByteCount_});
  request->release();
}

void FsysFile::abandonAll(RequestList* list) {
  if (!list) return;
  CriticalSectionLock lock(*lock_);
  RequestList all;
  all.swap(*list);
  for (FileRequest* request : all) dropLocked(request);
}
