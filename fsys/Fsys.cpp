#include "fsys/Fsys.h"

#include <memory>
#include <new>

#include "fsys/DeliveryScope.h"
#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "fsys/FsysPoll.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"
#include "platform/OS.h"

namespace {

constexpr int kWaitBudget = 30;  // examinations of requests while closing, and one
constexpr unsigned kPollSpare = 50;
constexpr uint32_t kUnknownSectorSize = 512;
constexpr int kOutstandingWritesLevel = 8;
constexpr unsigned kServingThreads = 2;

bool isForWriting(uint32_t flags) { return (flags & iFileManager::eFlagWrite) != 0; }

// Whether a closer waits for the request. What its own thread is telling now is not waited for.
bool isUnfinished(const FileRequest* request) {
  uint32_t status = request->status();
  bool unfinished = status <= FileRequest::STARTED || status == FileRequest::SUCCEEDED;
  return unfinished && !DeliveryScope::isTelling(request);
}

// Files that an engine left open. Their callers may still hold them; they are never deleted.
Vector<FsysFile*>& inertFiles() {
  static Vector<FsysFile*>& files = *new Vector<FsysFile*>;
  return files;
}

}  // namespace

FsysBuf* Fsys::BufferSpace_ = nullptr;

Fsys::Fsys() {
  CreateBufferSpace();
  try {
    readPoll_ = new FsysPoll(&readFiles_, &readFilesLock_, true,
                             static_cast<unsigned>(EngineSettings::ReadPollDelay), kPollSpare);
    writePoll_ = new FsysPoll(&writeFiles_, &writeFilesLock_, false,
                              static_cast<unsigned>(EngineSettings::WritePollDelay), kPollSpare);
    if (!readPoll_->hasThread() || !writePoll_->hasThread()) throw std::bad_alloc();
  } catch (...) {
    delete writePoll_;
    delete readPoll_;
    ReleaseBufferSpace();
    throw;
  }
}

Fsys::~Fsys() {
  drainAll();
  closeEveryOther(readFiles_, readFilesLock_);
  closeEveryOther(writeFiles_, writeFilesLock_);
  delete readPoll_;
  delete writePoll_;
  leaveInert(readFiles_, readFilesLock_);
  leaveInert(writeFiles_, writeFilesLock_);
  ReleaseBufferSpace();
  Qv::Ptr<iTaskQueue> serving;
  {
    CriticalSectionLock lock(ownLock_);
    serving.swap(servedTransfers_);
  }
  // Outside the lock: a transfer that is being served may still come to it.
  serving.reset();
  receiver_.reset();
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
  return isForWriting(flags) ? writePoll_ : readPoll_;
}

// Opening ----------------------------------------------------------------------------------------

uint32_t Fsys::OpenFile(FsysFile** file, LightweightString<wchar_t> path, uint32_t value,
                        uint32_t flags, CompletionCallback) {
  if (!file || path.empty()) return eResultFailed;
  iFileManager* files = OS()->getFileManager();
  Qv::Ptr<iDiskDrive> disk = files->getDisk(path);
  uint32_t sectorSize = disk ? disk->getSectorSize() : kUnknownSectorSize;
  if (sectorSize == 0) sectorSize = kUnknownSectorSize;
  iDiskDrive::eType driveType = disk ? disk->getType() : iDiskDrive::eNetwork;

  FsysFile* opened;
  if (files->isServed(path)) {
    opened = openServed(path, value, flags, sectorSize);
  } else {
    opened = openNative(path, value, flags, sectorSize, driveType);
    if (!opened) *file = nullptr;
  }
  if (!opened) return eResultFailed;
  enlist(opened, flags);
  *file = opened;
  return eResultOk;
}

FsysFile* Fsys::openServed(const LightweightString<wchar_t>& path, uint32_t value, uint32_t flags,
                           uint32_t sectorSize) {
  Qv::Ptr<iFile> served = OS()->getFileManager()->openServed(path, flags, isForWriting(flags));
  if (!served) return nullptr;
  auto* file = new FsysFile(served, pollFor(flags), sectorSize, iDiskDrive::eNetwork, flags, value);
  file->name_ = path;
  return file;
}

FsysFile* Fsys::openNative(const LightweightString<wchar_t>& path, uint32_t value, uint32_t flags,
                           uint32_t sectorSize, iDiskDrive::eType driveType) {
  auto file = std::make_unique<FsysFile>(path, pollFor(flags), sectorSize, driveType, flags, value);
  uint32_t result = file->LowLevelOpen(path, flags, driveType == iDiskDrive::eNetwork);
  if (result != eResultOk) {
    OsAtomics::store(FsysError, result);
    putOut("LowLevelOpen error 0x%x\n", result);
    return nullptr;
  }
  attach(file.get(), flags);
  return file.release();
}

// Without a receiver the file's transfers are served by the engine's own threads.
void Fsys::attach(FsysFile* file, uint32_t flags) {
  CriticalSectionLock lock(ownLock_);
  if (!receiver_ && file->isASyncIOSupported()) {
    try {
      receiver_ = Qv::Ptr<IOCompletionReceiver>(new IOCompletionReceiver);
    } catch (const std::bad_alloc&) {
      Log("No completion handler can be made: transfers are served by threads\n");
    }
  }
  if (!receiver_) return;
  file->SetUpIoCompletionNotify(isForWriting(flags) ? receiver_->writeHandler()
                                                    : receiver_->readHandler());
}

void Fsys::enlist(FsysFile* file, uint32_t flags) {
  if (isForWriting(flags)) {
    FILE_INFO info;
    file->LowLevelGetInfo(&info);
    file->position_.set(info.writePosition);
    file->AllocWriteCache();
  }
  {
    CriticalSectionLock lock(ownLock_);
    openFiles_.add(file);
  }
  if (isForWriting(flags)) {
    CriticalSectionLock lock(writeFilesLock_);
    writeFiles_.add(file);
  } else {
    CriticalSectionLock lock(readFilesLock_);
    readFiles_.add(file);
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

uint32_t Fsys::Close(FsysFile* file, CompletionCallback) {
  if (!file || !claim(file)) return eResultFailed;
  file->closing_.set(true);
  file->WaitForDrain();
  if (file->pendingSegmentBytes_ > 0) {
    uint32_t result = file->SendWriteSegBuffer();
    if (result != eResultOk) {
      CriticalSectionLock lock(ownLock_);
      openFiles_.add(file);
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
  file->FreeWriteCache();
  file->ClearMemoryRefs();
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

// Finished entries are counted too: the budget bounds the examinations, not the waits.
void Fsys::waitForRequests(FsysFile* file, FsysFile::RequestList* requests) {
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
    OS()->getThreads()->sleep(2 * static_cast<uint32_t>(EngineSettings::WritePollDelay));
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

// Before the lists are held: the pollers must still pass to start what is queued.
void Fsys::drainAll() {
  Vector<FsysFile*> files;
  {
    CriticalSectionLock lock(writeFilesLock_);
    files = writeFiles_;
  }
  writePoll_->Kick();
  for (FsysFile* file : files) {
    file->WaitForDrain();
    if (file->pendingSegmentBytes_ > 0 && file->SendWriteSegBuffer() == eResultOk)
      file->WaitForDrain();
  }
}

// Each close takes its file off the list, so the next index skips one: every other file is closed.
void Fsys::closeEveryOther(Vector<FsysFile*>& files, CriticalSection& lock) {
  CriticalSectionLock held(lock);
  for (size_t i = 0; i < files.size(); ++i) Close(files[i], nullptr);
}

void Fsys::leaveInert(Vector<FsysFile*>& files, CriticalSection& lock) {
  CriticalSectionLock held(lock);
  for (FsysFile* file : files) {
    claim(file);
    file->makeInert();
    inertFiles().add(file);
  }
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
