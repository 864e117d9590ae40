#include "fsys/Fsys.h"

#include <algorithm>
#include <memory>
#include <new>

#include "fsys/CloseTask.h"
#include "fsys/DeliveryScope.h"
#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "fsys/FsysPoll.h"
#include "fsys/LostBytes.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"
#include "platform/OS.h"

namespace {

constexpr int kWaitBudget = 30;        // examinations of requests while closing, and one
constexpr unsigned kMostYields = 100;  // some 0.1 ms where nobody else wants the processor
constexpr unsigned kPollSpare = 50;
constexpr uint32_t kUnknownSectorSize = 512;
constexpr int kOutstandingWritesLevel = 8;
constexpr unsigned kServingThreads = 2;
constexpr unsigned kClosingThreads = 1;

// A delay as it was configured; less than none is none.
uint32_t delay_ms(int configured) { return static_cast<uint32_t>(std::max(configured, 0)); }

bool isForWriting(uint32_t flags) { return (flags & iFileManager::eFlagWrite) != 0; }

// Whether a closer waits for the request.
bool isUnfinished(const FileRequest* request) {
  uint32_t status = request->status();
  return status <= FileRequest::STARTED || status == FileRequest::SUCCEEDED;
}

// Files that an engine left open. Their callers may still hold them; they are never deleted.
Vector<FsysFile*>& inertFiles() {
  static Vector<FsysFile*>& files = *new Vector<FsysFile*>;
  return files;
}

// Without memory for the list it is just never deleted.
void keepInert(FsysFile* file) {
  try {
    inertFiles().add(file);
  } catch (const std::bad_alloc&) {
    Log("A file was left open\n");
  }
}

}  // namespace

FsysBuf* Fsys::BufferSpace_ = nullptr;

Fsys::Fsys() {
  CreateBufferSpace();
  try {
    readPoll_ = std::make_unique<FsysPoll>(&readFiles_, &readFilesLock_, true,
                                           delay_ms(EngineSettings::ReadPollDelay), kPollSpare);
    writePoll_ = std::make_unique<FsysPoll>(&writeFiles_, &writeFilesLock_, false,
                                            delay_ms(EngineSettings::WritePollDelay), kPollSpare);
    if (!readPoll_->hasThread() || !writePoll_->hasThread()) throw std::bad_alloc();
  } catch (...) {
    writePoll_.reset();
    readPoll_.reset();
    ReleaseBufferSpace();
    throw;
  }
}

// First everything that can still make requests comes to rest, then what they need goes.
Fsys::~Fsys() {
  beginEnd();
  endQueue(closes_);
  drainAll();
  closeEveryOther(readFiles_, readFilesLock_);
  closeEveryOther(writeFiles_, writeFilesLock_);
  readPoll_->Stop();
  writePoll_->Stop();
  Vector<FsysFile*> left = takeLeftOpen();
  endQueue(servedTransfers_);
  receiver_.reset();
  for (FsysFile* file : left) {
    file->takeOffWhatIsLeft();
    if (uint32_t lost = file->cachedBytes()) reportLost(lost, file->name_);
    file->settleWrites();
    file->makeInert();
    keepInert(file);
  }
  readPoll_.reset();
  writePoll_.reset();
  ReleaseBufferSpace();
}

// From here on no file is closed for a callback: its task would run beside this end.
void Fsys::beginEnd() {
  CriticalSectionLock lock(ownLock_);
  ending_ = true;
}

// A file that a callback has closed, and no thread has; null when there is none.
FsysFile* Fsys::takeOwed() {
  CriticalSectionLock lock(ownLock_);
  FsysFile* file = owed_;
  if (file) owed_ = file->nextOwed_;
  return file;
}

// Outside the lock: what a task does may come to it.
void Fsys::endQueue(Qv::Ptr<iTaskQueue>& queue) {
  Qv::Ptr<iTaskQueue> ending;
  {
    CriticalSectionLock lock(ownLock_);
    ending.swap(queue);
  }
  ending.reset();
}

uint32_t Fsys::CreateBufferSpace() {
  BufferSpace_ = new FsysBuf;
  return eResultOk;
}

uint32_t Fsys::ReleaseBufferSpace() {
  delete BufferSpace_;
  return eResultOk;
}

FsysPoll* Fsys::pollFor(uint32_t flags) const {
  return (isForWriting(flags) ? writePoll_ : readPoll_).get();
}

// Opening ----------------------------------------------------------------------------------------

uint32_t Fsys::OpenFile(FsysFile** file, LightweightString<wchar_t> path, uint32_t value,
                        uint32_t flags, CompletionCallback) {
  if (!file || path.empty()) return eResultFailed;
  try {
    return openAny(file, path, value, flags);
  } catch (const std::bad_alloc&) {
    OsAtomics::store(FsysError, uint32_t{eOsNoMemory});
    *file = nullptr;
    return eResultFailed;
  }
}

uint32_t Fsys::openAny(FsysFile** file, const LightweightString<wchar_t>& path, uint32_t value,
                       uint32_t flags) {
  iFileManager* files = OS()->getFileManager();
  Qv::Ptr<iDiskDrive> disk = files->getDisk(path);
  uint32_t sectorSize = disk ? disk->getSectorSize() : kUnknownSectorSize;
  if (sectorSize == 0) sectorSize = kUnknownSectorSize;
  iDiskDrive::eType driveType = disk ? disk->getType() : iDiskDrive::eNetwork;

  std::unique_ptr<FsysFile> opened;
  if (files->isServed(path)) {
    opened = openServed(path, value, flags, sectorSize);
    if (!opened) return eResultFailed;
  } else {
    opened = openNative(path, value, flags, sectorSize, driveType);
  }
  if (!opened || (isForWriting(flags) && prepareForWriting(opened.get()) != eResultOk)) {
    *file = nullptr;
    return eResultFailed;
  }
  enlist(opened.get(), flags);
  *file = opened.release();
  return eResultOk;
}

// Writing continues at the end; a file whose end is not known would be written over.
uint32_t Fsys::prepareForWriting(FsysFile* file) {
  FILE_INFO info;
  uint32_t result = file->LowLevelGetInfo(&info);
  if (result != eResultOk) {
    OsAtomics::store(FsysError, result);
    return result;
  }
  file->position_.set(info.writePosition);
  file->AllocWriteCache();
  return eResultOk;
}

std::unique_ptr<FsysFile> Fsys::openServed(const LightweightString<wchar_t>& path, uint32_t value,
                                           uint32_t flags, uint32_t sectorSize) {
  Qv::Ptr<iFile> served = OS()->getFileManager()->openServed(path, flags, isForWriting(flags));
  if (!served) return nullptr;
  auto file = std::make_unique<FsysFile>(served, pollFor(flags), sectorSize, iDiskDrive::eNetwork,
                                         flags, value);
  file->name_ = path;
  return file;
}

std::unique_ptr<FsysFile> Fsys::openNative(const LightweightString<wchar_t>& path, uint32_t value,
                                           uint32_t flags, uint32_t sectorSize,
                                           iDiskDrive::eType driveType) {
  auto file = std::make_unique<FsysFile>(path, pollFor(flags), sectorSize, driveType, flags, value);
  uint32_t result = file->LowLevelOpen(path, flags, driveType == iDiskDrive::eNetwork);
  if (result != eResultOk) {
    OsAtomics::store(FsysError, result);
    putOut("LowLevelOpen error 0x%x\n", result);
    return nullptr;
  }
  attach(file.get(), flags);
  return file;
}

// True when this call made it.
bool Fsys::makeReceiver() {
  CriticalSectionLock lock(ownLock_);
  if (receiver_) return false;
  try {
    receiver_ = Qv::Ptr<IOCompletionReceiver>(new IOCompletionReceiver);
    return true;
  } catch (const std::bad_alloc&) {
    Log("No completion handler can be made: transfers are served by threads\n");
    return false;
  }
}

// Without a receiver the file's transfers are served by the engine's own threads.
void Fsys::attach(FsysFile* file, uint32_t flags) {
  if (file->isASyncIOSupported() && makeReceiver()) {
    readPoll_->sendOnErrands(receiver_->readHandler());
    writePoll_->sendOnErrands(receiver_->writeHandler());
  }
  CriticalSectionLock lock(ownLock_);
  if (!receiver_) return;
  file->SetUpIoCompletionNotify(isForWriting(flags) ? receiver_->writeHandler()
                                                    : receiver_->readHandler());
}

void Fsys::enlist(FsysFile* file, uint32_t flags) {
  giveBack(file);
  try {
    if (isForWriting(flags)) {
      CriticalSectionLock lock(writeFilesLock_);
      writeFiles_.add(file);
    } else {
      CriticalSectionLock lock(readFilesLock_);
      readFiles_.add(file);
    }
  } catch (...) {
    claim(file);
    throw;
  }
}

// Closing ----------------------------------------------------------------------------------------

bool Fsys::isOpen(FsysFile* file) {
  CriticalSectionLock lock(ownLock_);
  return openFiles_.locate(file) != Vector<FsysFile*>::npos;
}

// For one closer alone.
bool Fsys::claim(FsysFile* file) {
  CriticalSectionLock lock(ownLock_);
  return openFiles_.remove(file);
}

void Fsys::giveBack(FsysFile* file) {
  CriticalSectionLock lock(ownLock_);
  openFiles_.add(file);
}

// No thread came to close it. Once the engine has begun to end, the callback that asked for it was
// promised that, and others may have opened files on the list's room: the file needs none.
void Fsys::giveBackUnclosed(FsysFile* file) {
  CriticalSectionLock lock(ownLock_);
  if (!ending_) return openFiles_.add(file);
  FsysFile** end = &owed_;
  while (*end) end = &(*end)->nextOwed_;
  *end = file;
}

uint32_t Fsys::Close(FsysFile* file, CompletionCallback) {
  if (!file) return eResultFailed;
  if (DeliveryScope::active()) return closeLater(file);
  if (!claim(file)) return eResultFailed;
  file->closing_.set(true);
  return closeClaimed(file);
}

// For a callback, which must not wait for what only its own thread can finish. An engine that is
// ending closes the file with the others.
uint32_t Fsys::closeLater(FsysFile* file) {
  CriticalSectionLock lock(ownLock_);
  if (openFiles_.locate(file) == Vector<FsysFile*>::npos) return eResultFailed;
  if (ending_) {
    file->closing_.set(true);
    return eResultOk;
  }
  if (!closes_) closes_ = OS()->getThreads()->createTaskQueue("fsys close", kClosingThreads);
  Qv::Ptr<iTask> task(new (std::nothrow) CloseTask(*this, file));
  if (!task) {
    OsAtomics::store(FsysError, uint32_t{eOsNoMemory});
    return eResultFailed;
  }
  file->closing_.set(true);
  openFiles_.remove(file);
  if (closes_ && closes_->post(task)) return eResultOk;
  // The task gives the file back as it goes.
  file->closing_.set(false);
  OsAtomics::store(FsysError, uint32_t{eOsNoMemory});
  return eResultFailed;
}

// The callback has returned long ago, and hears nothing of it.
void Fsys::closeForCallback(FsysFile* file) {
  const uint32_t result = closeClaimed(file);
  if (result != eResultOk)
    Log("A file could not be closed: its last sector failed with 0x%x\n", result);
}

uint32_t Fsys::closeClaimed(FsysFile* file) {
  file->waitForWriters();
  // Left behind: the process ends.
  if (!file->claimLastFlush(FsysFile::eCloser)) {
    giveBack(file);
    return eResultFailed;
  }
  file->WaitForDrain();
  if (file->hasPendingSegment()) {
    uint32_t result = file->SendWriteSegBuffer();
    if (result != eResultOk) {
      giveBack(file);
      return result;
    }
    file->WaitForDrain();
  }
  waitForRequests(file, file->writeRequests_);
  file->WaitForDrain();
  reportOutstandingWrites(file);
  waitForRequests(file, file->readRequests_);
  delist(file);
  file->failUnfinished(file->writeRequests_);
  file->failUnfinished(file->readRequests_);
  if (uint32_t lost = file->cachedBytes()) reportLost(lost, file->name_);
  file->FreeWriteCache();
  file->ClearMemoryRefs();
  file->settleWrites();
  file->LowLevelClose();
  file->unpin();
  return eResultOk;
}

void Fsys::delist(FsysFile* file) {
  if (isForWriting(file->flags_)) {
    CriticalSectionLock lock(writeFilesLock_);
    writeFiles_.remove(file);
  } else {
    CriticalSectionLock lock(readFilesLock_);
    readFiles_.remove(file);
  }
}

// Whoever is told may close at once, and be on the processor of the thread that told him: that one
// goes on first, which has but to finish the request, or the look at it costs a whole sleep.
void Fsys::letTellersEnd(FsysFile* file, FsysFile::RequestList* requests) {
  auto isBeingTold = [&] {
    CriticalSectionLock lock(*file->lock_);
    return std::any_of(requests->begin(), requests->end(), [](const FileRequest* request) {
      const uint32_t status = request->status();
      const bool hasFailed = status == FileRequest::STARTED && request->delivered_;
      return status == FileRequest::SUCCEEDED || hasFailed;
    });
  };
  for (unsigned yields = 0; yields < kMostYields && isBeingTold(); ++yields)
    OS()->getThreads()->yield();
}

// Finished entries are counted too: the budget bounds the examinations, not the waits.
void Fsys::waitForRequests(FsysFile* file, FsysFile::RequestList* requests) {
  letTellersEnd(file, requests);
  int budget = kWaitBudget;
  for (size_t next = 0;;) {
    {
      CriticalSectionLock lock(*file->lock_);
      while (next < requests->size()) {
        if (--budget == 0) return;
        if (isUnfinished((*requests)[next])) break;
        ++next;
      }
      if (next >= requests->size()) return;
    }
    OS()->getThreads()->sleep(2 * delay_ms(EngineSettings::WritePollDelay));
    next = 0;
  }
}

void Fsys::reportOutstandingWrites(FsysFile* file) {
  size_t unfinished = 0;
  {
    CriticalSectionLock lock(*file->lock_);
    for (const FileRequest* request : *file->writeRequests_) unfinished += isUnfinished(request);
  }
  for (size_t i = 0; i < unfinished; ++i)
    qa_splat(kOutstandingWritesLevel, "Outstanding writes not completed");
}

// The end of the engine
// ----------------------------------------------------------------------------

// Before the lists are held: the pollers cannot pass then, and what is queued must still be
// started. Nothing new is taken meanwhile, so that it ends. Nor is anything asked of the heap: the
// lists are walked as they are, since nobody opens or closes any more.
void Fsys::drainAll() {
  markAllClosing(readFiles_, readFilesLock_);
  markAllClosing(writeFiles_, writeFilesLock_);
  while (FsysFile* file = takeOwed()) closeForCallback(file);
  for (size_t i = 0; FsysFile* file = fileAt(readFiles_, readFilesLock_, i); ++i)
    file->StartRequests(file->readRequests_);
  writePoll_->Kick();
  for (size_t i = 0; FsysFile* file = fileAt(writeFiles_, writeFilesLock_, i); ++i) {
    file->waitForWriters();
    file->WaitForDrain();
    if (file->hasPendingSegment() && file->SendWriteSegBuffer() == eResultOk) file->WaitForDrain();
  }
}

void Fsys::markAllClosing(Vector<FsysFile*>& files, CriticalSection& lock) {
  CriticalSectionLock held(lock);
  for (FsysFile* file : files) file->closing_.set(true);
}

// Null behind the last.
FsysFile* Fsys::fileAt(Vector<FsysFile*>& files, CriticalSection& lock, size_t index) {
  CriticalSectionLock held(lock);
  return index < files.size() ? files[index] : nullptr;
}

// Each close takes its file off the list, so the next index skips one: every other file is closed.
void Fsys::closeEveryOther(Vector<FsysFile*>& files, CriticalSection& lock) {
  CriticalSectionLock held(lock);
  for (size_t i = 0; i < files.size(); ++i) Close(files[i], nullptr);
}

// The files that are left open; what they have in flight is cut off, and nobody is called for it.
Vector<FsysFile*> Fsys::takeLeftOpen() {
  Vector<FsysFile*> left;
  {
    CriticalSectionLock lock(ownLock_);
    left.consume(openFiles_);
  }
  for (FsysFile* file : left) {
    file->abandonAll(file->readRequests_);
    file->abandonAll(file->writeRequests_);
  }
  return left;
}

// The rest ---------------------------------------------------------------------------------------

uint32_t Fsys::SetCoalesceLength(FsysFile* file, uint32_t length) {
  if (!file || !isOpen(file)) return eResultFailed;
  file->coalesceLength_.set(length);
  return eResultOk;
}

uint32_t Fsys::GetWriteBytesOutstanding(unsigned int* bytes) {
  if (!bytes) return eResultFailed;
  *bytes = writeBytesOutstanding_.get();
  return eResultOk;
}

iTaskQueue* Fsys::servedTransfers() {
  CriticalSectionLock lock(ownLock_);
  if (!servedTransfers_)
    servedTransfers_ = OS()->getThreads()->createTaskQueue("fsys serve", kServingThreads);
  return servedTransfers_.get();
}
