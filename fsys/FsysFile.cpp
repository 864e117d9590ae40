#include "fsys/FsysFile.h"

#include <memory>
#include <new>

#include "fsys/DeliveryScope.h"
#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/TextHelpers.h"

namespace {

constexpr size_t kListRoom = 40;  // entries

// A location ends in a separator, but that of the root of all, which is empty.
bool mayBeLocation(const LightweightString<wchar_t>& path) {
  return path.empty() || Qv::endsWith(path.view(), OS()->getFileManager()->getSeparator());
}

}  // namespace

FsysFile::FsysFile(const LightweightString<wchar_t>& path, FsysPoll* poll, uint32_t sectorSize,
                   iDiskDrive::eType driveType, uint32_t flags, uint32_t coalesceLength)
    : driveType_(driveType),
      sectorSize_(sectorSize),
      poll_(poll),
      name_(path),
      readRequests_(nullptr),
      writeRequests_(nullptr),
      lock_(nullptr),
      flags_(flags),
      coalesceLength_(coalesceLength),
      mayNameVolume_(mayBeLocation(path)) {
  if (!name_.isNull()) init();
}

FsysFile::FsysFile(const Qv::Ptr<iFile>& file, FsysPoll* poll, uint32_t sectorSize,
                   iDiskDrive::eType driveType, uint32_t flags, uint32_t coalesceLength)
    : FsysFile(LightweightString<wchar_t>(L""), poll, sectorSize, driveType, flags,
               coalesceLength) {
  file_ = file;
}

void FsysFile::init() {
  drainEvent_ = OS()->getThreads()->createEvent(0, 0, 0);
  if (!drainEvent_) throw std::bad_alloc();
  // A constructor that throws runs no destructor: nothing is kept before all of it is there.
  auto reads = std::make_unique<RequestList>(kListRoom);
  auto writes = std::make_unique<RequestList>(kListRoom);
  lock_ = new CriticalSection;
  readRequests_ = reads.release();
  writeRequests_ = writes.release();
}

FsysFile::~FsysFile() {
  abandonAll(readRequests_);
  abandonAll(writeRequests_);
  takeOffWhatIsLeft();
  delete readRequests_;
  delete writeRequests_;
  delete lock_;
}

void FsysFile::pin() { pins_.add(); }

void FsysFile::unpin() {
  if (pins_.drop()) delete this;
}

// A failed request that no pass has swept is still counted: nothing of this file is in flight now.
void FsysFile::takeOffWhatIsLeft() {
  countOutstanding(true, -int64_t{readBytesOutstanding_.get()});
  countOutstanding(false, -int64_t{writeBytesOutstanding_.get()});
}

bool FsysFile::hasPendingSegment() {
  CriticalSectionLock lock(*lock_);
  return pendingSegmentBytes_ > 0;
}

// For a file that its engine leaves open, once no thread of the engine is left: what it held goes
// now. The object stays: the caller may still have its address.
void FsysFile::makeInert() {
  poll_ = nullptr;
  FreeWriteCache();
  LowLevelClose();
}

uint32_t FsysFile::DisableCache() {
  cacheDisabled_ = true;
  return eResultOk;
}

bool FsysFile::isASyncIOSupported() const {
  return probe_ && (probe_->getCapabilities() & iFile::eAsyncTransfers) != 0;
}

uint32_t FsysFile::Read(void* buffer, uint32_t bytes) {
  FilePin pin(this);
  uint32_t result = LowLevelRead(buffer, bytes);
  if (result == eResultOk) position_.add(bytes);
  return result;
}

uint32_t FsysFile::Write(void* buffer, uint32_t bytes) {
  FilePin pin(this);
  uint32_t result = flushCache();
  if (result != eResultOk) return result;
  result = LowLevelWrite(buffer, bytes);
  if (result == eResultOk) position_.add(bytes);
  return result;
}

uint32_t FsysFile::Seek(long offset, SEEK_TYPE type) {
  FilePin pin(this);
  uint64_t before = position_.get();
  flushCache();
  position_.set(type == eSeekFromStart ? static_cast<uint64_t>(offset)
                                       : before + static_cast<uint64_t>(offset));
  return eResultOk;
}

void FsysFile::WaitForDrain() {
  FilePin pin(this);
  closing_ ? flushForClosing() : flushCache();
  if (closing_) heldIsSent_.set(true);
  double deadline_ms = Qv::now() + kDrainWait_ms;
  // What this very thread is telling now cannot end while it waits here.
  while (writeBytesOutstanding_.get() > DeliveryScope::writeBytesHeld(this)) {
    double left_ms = deadline_ms - Qv::now();
    // A signal may be left over from writes before these: only an empty count ends the wait.
    if (left_ms > 0) {
      drainEvent_->wait(static_cast<uint32_t>(left_ms) + 1);
      continue;
    }
    qa_splat(0, "Timed out waiting for write completion\n");
    return;
  }
}

void FsysFile::CheckOutstandingWrites() {
  // Under the lock: two who end writes at once must not reset what the later one signalled.
  CriticalSectionLock lock(*lock_);
  if (writeBytesOutstanding_.get() == 0)
    drainEvent_->signal();
  else
    drainEvent_->reset();
}
