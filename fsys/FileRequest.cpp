#include "fsys/FileRequest.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <utility>

#include "fsys/DeliveryScope.h"
#include "fsys/Fsys.h"
#include "fsys/FsysBuf.h"
#include "fsys/FsysFile.h"
#include "fsys/HolderCapacity.h"
#include "fsys/HolderGroup.h"
#include "fsys/MemBlock.h"
#include "fsys/MemRef.h"
#include "fsys/ResultCodes.h"
#include "fsys/SectorArithmetic.h"
#include "platform/Check.h"
#include "platform/CriticalSection.h"
#include "platform/OS.h"
#include "platform/QvLockFree.h"

namespace {

// The longest transfer for which a block can be asked: a block holds a little more.
constexpr uint64_t kLongestRead_bytes =
    std::numeric_limits<uint32_t>::max() - uint64_t{MemBlock::kExtraBytes};

// The caller's, and that of a synchronous request itself.
constexpr size_t kEntriesOfOne = 2;

OsCounter<uint64_t> readCount;
OsCounter<double> readBytes;
OsCounter<uint64_t> mergeCount;

// A synchronous request without an event would not be waited for: it is not made.
Qv::Ptr<iThreadEvent> makeWaiter() {
  Qv::Ptr<iThreadEvent> waiter = OS()->getThreads()->createEvent(0, 0, 0);
  if (!waiter) throw std::bad_alloc();
  return waiter;
}

// Holds a file's lock for a scope; nothing for a request of no file.
class MaybeLock {
public:
  explicit MaybeLock(CriticalSection* section) NO_THREAD_SAFETY_ANALYSIS : section_(section) {
    if (section_) section_->enter();
  }
  ~MaybeLock() NO_THREAD_SAFETY_ANALYSIS {
    if (section_) section_->leave();
  }
  MaybeLock(const MaybeLock&) = delete;
  MaybeLock& operator=(const MaybeLock&) = delete;

private:
  CriticalSection* section_;
};

}  // namespace

uint32_t FileRequest::CoalesceGap_ = 4096;
OsCounter<uint64_t> FileRequest::usageClock_;

uint64_t FileRequest::GetReadCount() { return readCount.get(); }
double FileRequest::GetReadBytes() { return readBytes.get(); }
uint64_t FileRequest::GetMergeCount() { return mergeCount.get(); }

FileRequest::FileRequest(bool is_read, uint32_t byteCount, uint64_t offset, bool deferrable,
                         bool synchronous, Qv::Ptr<iMemHolder> buffer, FsysFile* file,
                         CompletionCallback callback, Qv::Ptr<iObject> context)
    : is_read_(is_read),
      synchronous_(synchronous),
      offset_(offset),
      ByteCount_(byteCount),
      deferrable_(deferrable),
      buffer_(std::move(buffer)),
      completions_(kEntriesOfOne),
      file_(file),
      waiter_(synchronous ? makeWaiter() : nullptr) {
  (void)FSYS_CHECK(ByteCount_ != 0, "fsys/FileRequest line 59");
  // A constructor that throws destroys no entry: none is listed before all of them are there.
  std::unique_ptr<CompletionInfo> caller, waiting;
  if (callback) caller = std::make_unique<CompletionInfo>(callback, context, offset, byteCount);
  if (synchronous_) {
    syncContext_ = Qv::Ptr<SyncFileRequest>(new SyncFileRequest(this, waiter_));
    waiting = std::make_unique<CompletionInfo>(&SyncFileRequest::SynchWaiter, syncContext_, offset,
                                               byteCount);
  }
  if (caller) completions_.add(caller.release());
  if (waiting) completions_.add(waiting.release());
}

void* FileRequest::operator new(size_t bytes) {
  return Qv::PooledObject<FileRequest>::operator new(bytes);
}

void FileRequest::operator delete(void* memory) {
  Qv::PooledObject<FileRequest>::operator delete(memory);
}

FileRequest::~FileRequest() {
  if (asyncContext_ && asyncContext_->detach()) {
    inFlight_ = false;
    file_->unpin();
  }
  if (syncContext_) syncContext_->forgetRequest();
  destroyEntries(completions_);
}

void FileRequest::retain() { shares_.add(); }

void FileRequest::release() {
  if (shares_.drop()) delete this;
}

bool FileRequest::cutOff() {
  if (!asyncContext_ || !asyncContext_->detach()) return false;
  // Nobody is to make it any more.
  ownTransfer_.reset();
  endTransfer();
  return true;
}

void FileRequest::abandon() {
  cutOff();
  release();
}

void FileRequest::Use() { lastUse_ = usageClock_.add(1) - 1; }

CriticalSection* FileRequest::fileLock() const { return file_ ? file_->lock_ : nullptr; }

// Sector adjustment ------------------------------------------------------------------------------

void FileRequest::ReadSectorAdjust(uint32_t sectorSize) {
  if (sectorSize == 0) return;
  startAdjust_ = -static_cast<int32_t>(SectorArithmetic::headBytes(offset_, sectorSize));
  lengthAdjust_ =
      static_cast<int32_t>(SectorArithmetic::readGrowth(offset_, ByteCount_, sectorSize));
}

uint32_t FileRequest::WriteSectorAdjust(uint32_t sectorSize, Qv::Ptr<iMemHolder> segment) {
  if (sectorSize == 0 || ByteCount_ == 0) return 0;
  uint32_t head = SectorArithmetic::headBytes(offset_, sectorSize);
  if (head == 0 && ByteCount_ >= sectorSize) return 0;
  (void)FSYS_CHECK(false, "fsys/FileRequest line 154");
  unsigned char* sector = segment ? segment->getBuffer() : nullptr;
  const unsigned char* data = buffer_ ? buffer_->getBuffer() : nullptr;
  if (!sector || !data) return 0;

  uint32_t fill = sectorSize - head;
  uint32_t copied = std::min(fill, ByteCount_);
  std::memcpy(sector + head, data, copied);
  uint32_t pending = head + copied;
  if (fill <= ByteCount_) {
    sectorResult_ = splitOffSector(sectorSize, offset_ - head, segment);
    pending = 0;
  }
  startAdjust_ += static_cast<int32_t>(copied);
  lengthAdjust_ -= static_cast<int32_t>(copied);

  uint32_t tail = SectorArithmetic::headBytes(offset_ + ByteCount_, sectorSize);
  if (tail == 0 || tail >= ByteCount_) return pending;
  std::memcpy(sector, data + ByteCount_ - tail, tail);
  lengthAdjust_ -= static_cast<int32_t>(tail);
  return tail;
}

// Writes the completed sector. It gets a copy: the segment is filled again while it is in flight.
uint32_t FileRequest::splitOffSector(uint32_t sectorSize, uint64_t offset,
                                     const Qv::Ptr<iMemHolder>& segment) {
  Qv::Ptr<iMemHolder> sector(new MemBlock(sectorSize));
  if (!sector->getBuffer()) return eOsNoMemory;
  std::memcpy(sector->getBuffer(), segment->getBuffer(), sectorSize);
  auto* request = new FileRequest(false, sectorSize, offset, deferrable_, false, sector, file_,
                                  nullptr, nullptr);
  uint32_t result = file_->LowLevelAsyncWrite(request);
  request->release();
  return result;
}

// Merging ----------------------------------------------------------------------------------------

bool FileRequest::runs_into(const FileRequest* a, const FileRequest* b) {
  if (b->offset_ < a->offset_) return false;
  uint64_t distance = b->offset_ - a->offset_;
  if (a->is_read_) return distance <= uint64_t{a->ByteCount_} + CoalesceGap_;
  if (distance != a->ByteCount_ || !a->buffer_ || !b->buffer_) return false;
  const unsigned char* end = a->buffer_->getBuffer();
  return end && end + a->ByteCount_ == b->buffer_->getBuffer();
}

bool FileRequest::encompasses(const FileRequest* other) const {
  if (other->offset_ < offset_) return false;
  // By distances: an end may lie past the last offset that there is.
  uint64_t distance = other->offset_ - offset_;
  return distance <= ByteCount_ && other->ByteCount_ <= ByteCount_ - distance;
}

uint64_t FileRequest::FurthestLength(const FileRequest* a, const FileRequest* b) {
  return std::max<uint64_t>(a->ByteCount_, b->offset_ - a->offset_ + b->ByteCount_);
}

bool FileRequest::mayTake(const FileRequest* other) const {
  if (is_read_ != other->is_read_ || synchronous_ != other->synchronous_ || delivered_)
    return false;
  uint32_t status = Status_;
  if (status == STARTED) return encompasses(other);
  if (status != QUEUED) return false;
  bool tooLong = uint64_t{ByteCount_} + other->ByteCount_ > file_->coalesceLength_.get();
  return !tooLong || encompasses(other);
}

bool FileRequest::mergedRange(const FileRequest* other, Merged& merged) const {
  if (runs_into(this, other)) {
    merged = {offset_, FurthestLength(this, other), 0,
              static_cast<uint32_t>(other->offset_ - offset_)};
  } else if (runs_into(other, this)) {
    merged = {other->offset_, FurthestLength(other, this),
              static_cast<uint32_t>(offset_ - other->offset_), 0};
  } else {
    return false;
  }
  if (!is_read_) return merged.length <= std::numeric_limits<uint32_t>::max();
  // No longer than a block can be had for, once it is widened to whole sectors.
  return merged.length <= kLongestRead_bytes &&
         merged.length + SectorArithmetic::readGrowth(merged.offset,
                                                      static_cast<uint32_t>(merged.length),
                                                      std::max(file_->GetSectorSize(), 1u)) <=
             kLongestRead_bytes;
}

bool FileRequest::Coalesce(FileRequest* other) {
  Merged merged;
  if (!mayTake(other) || !mergedRange(other, merged)) return false;
  if (!is_read_ && !(holderSuffices() && other->holderSuffices())) return false;
  uint32_t growth = static_cast<uint32_t>(merged.length) - ByteCount_;
  if (!adopt(other, merged)) return false;
  if (Fsys::BufferSpace_) Fsys::BufferSpace_->AddPendingBytes(static_cast<int>(growth));
  file_->countOutstanding(is_read_, growth);
  mergeCount.add(1);
  return true;
}

// False, and nothing has changed, when there is no memory for it.
bool FileRequest::adopt(const FileRequest* other, const Merged& merged) {
  const size_t entries = completions_.size();
  const size_t holders = mergedHolders_.size();
  try {
    copyEntries(other->completions_, merged.otherShift);
    if (!is_read_) keepHolders(other);
  } catch (const std::bad_alloc&) {
    for (size_t last = completions_.size(); last-- > entries;) {
      delete completions_[last];
      completions_.removeIdx(last);
    }
    for (size_t last = mergedHolders_.size(); last-- > holders;) mergedHolders_.removeIdx(last);
    return false;
  }
  for (size_t i = 0; i < entries; ++i) completions_[i]->bufferPosition_ += merged.ownShift;
  if (!is_read_ && merged.ownShift > 0) buffer_ = other->buffer_;
  // A started request keeps its range, which its completion reads without the lock.
  if (Status_ == QUEUED) {
    offset_ = merged.offset;
    ByteCount_ = static_cast<uint32_t>(merged.length);
  }
  return true;
}

void FileRequest::copyEntries(const Entries& entries, uint32_t shift) {
  for (const CompletionInfo* entry : entries) {
    auto copy = std::make_unique<CompletionInfo>(*entry);
    copy->bufferPosition_ += shift;
    completions_.add(copy.get());
    static_cast<void>(copy.release());
  }
}

// The merged bytes lie in both holders: both stay until the transfer is over.
void FileRequest::keepHolders(const FileRequest* other) {
  mergedHolders_.add(buffer_);
  mergedHolders_.add(other->buffer_);
  for (const Qv::Ptr<iMemHolder>& holder : other->mergedHolders_) mergedHolders_.add(holder);
}

// Whether the bytes to be written lie within their holder. Merged bytes were looked at one by one.
bool FileRequest::holderSuffices() const {
  if (!mergedHolders_.empty()) return true;
  return buffer_ && buffer_->getBuffer() && ByteCount_ <= holderCapacity(*buffer_);
}

// Starting ---------------------------------------------------------------------------------------

uint32_t FileRequest::StartRequest(FsysFile* file) {
  (void)FSYS_CHECK(Status_ == STARTED, "fsys/FileRequest line 231");
  if (!asyncContext_) asyncContext_ = OS()->getAsyncIo()->createContext();
  if (!asyncContext_) return eOsNoMemory;
  startedWithoutTransfer_ = false;
  return is_read_ ? startRead(file) : startWrite(file);
}

uint32_t FileRequest::startRead(FsysFile* file) {
  ReadSectorAdjust(file->GetSectorSize());
  uint64_t bytes = transferBytes();
  if (bytes == 0) {
    startedWithoutTransfer_ = true;
    return eResultOk;
  }
  if (bytes > kLongestRead_bytes) return eOsInvalid;
  if (!Fsys::BufferSpace_) return eResultNoBufferSpace;
  buffer_ = Fsys::BufferSpace_->GetMemBlock(static_cast<uint32_t>(bytes), this);
  if (!buffer_) return eResultNoBufferSpace;
  Fsys::BufferSpace_->AddPendingBytes(static_cast<int>(0 - ByteCount_));
  readCount.add(1);
  readBytes.add(static_cast<double>(bytes));
  Use();
  return file->LowLevelAsyncRead(this);
}

uint32_t FileRequest::startWrite(FsysFile* file) {
  startAdjust_ = 0;
  lengthAdjust_ = 0;
  sectorResult_ = eResultOk;
  // What goes through the segment is copied here, before the platform looks at it.
  const Qv::Ptr<iMemHolder>& segment = file->writeSegment_;
  if (segment && !(holderSuffices() && file->GetSectorSize() <= holderCapacity(*segment)))
    return eOsInvalid;
  file->pendingSegmentBytes_ = WriteSectorAdjust(file->GetSectorSize(), file->writeSegment_);
  if (sectorResult_ != eResultOk) return sectorResult_;
  if (transferBytes() == 0) {
    startedWithoutTransfer_ = true;
    return eResultOk;
  }
  return file->LowLevelAsyncWrite(this);
}

uint64_t FileRequest::transferOffset() const {
  return offset_ + static_cast<uint64_t>(static_cast<int64_t>(startAdjust_));
}

uint64_t FileRequest::transferBytes() const {
  return static_cast<uint64_t>(int64_t{ByteCount_} + lengthAdjust_);
}

// A read fills its block from the start; a write leaves out what went to the segment.
unsigned char* FileRequest::transferBuffer() const {
  unsigned char* bytes = buffer_ ? buffer_->getBuffer() : nullptr;
  return bytes && !is_read_ ? bytes + startAdjust_ : bytes;
}

// What the system may touch while the transfer is in flight.
Qv::Ptr<iObject> FileRequest::transferKeep() const {
  if (mergedHolders_.empty()) return buffer_;
  return Qv::Ptr<iObject>(new HolderGroup(mergedHolders_));
}

void FileRequest::beginTransfer() {
  retain();
  file_->pin();
  inFlight_ = true;
}

void FileRequest::endTransfer() {
  if (!std::exchange(inFlight_, false)) return;
  FsysFile* file = file_;
  release();
  file->unpin();
}

// Delivery ---------------------------------------------------------------------------------------

int FileRequest::lastBefore(const Entries& entries, uint64_t position) {
  for (size_t i = 0; i < entries.size(); ++i)
    if (entries[i]->offset_ >= position) return static_cast<int>(i) - 1;
  return static_cast<int>(entries.size()) - 1;
}

int FileRequest::SeekCompletionFunction(uint64_t position) const {
  return lastBefore(completions_, position);
}

// Takes the entries from `first` on out of the list; nobody is merged in after that.
FileRequest::Entries FileRequest::takeEntries(uint32_t first) {
  MaybeLock lock(fileLock());
  delivered_ = true;
  Entries taken;
  if (first == 0) {
    taken.swap(completions_);
    return taken;
  }
  while (completions_.size() > first) {
    taken.add(completions_[first]);
    completions_.removeIdx(first);
  }
  return taken;
}

void FileRequest::destroyEntries(Entries& entries) noexcept {
  for (CompletionInfo* entry : entries) delete entry;
  entries.clear();
}

void FileRequest::fail(Entries& entries, uint32_t first, uint32_t code) {
  for (size_t i = first; i < entries.size(); ++i) {
    OsAtomics::store(FsysError, code);
    Qv::Ptr<iMemHolder> nothing;
    entries[i]->callback_(entries[i]->context_, nothing, eRequestFailed);
  }
}

void FileRequest::NotifyError(uint32_t code, uint32_t first) {
  Entries entries = takeEntries(first);
  fail(entries, 0, code);
  destroyEntries(entries);
}

uint32_t FileRequest::doCallbacks() {
  uint32_t status = Status_;
  if (status != SUCCEEDED && status != TOO_SLOW) {
    (void)FSYS_CHECK(false, "fsys/FileRequest line 515");
    return 0;
  }
  Entries entries = takeEntries(0);
  if (entries.empty()) {
    (void)FSYS_CHECK(false, "fsys/FileRequest line 521");
    return 1;
  }
  uint32_t told = static_cast<uint32_t>(lastBefore(entries, offset_ + bytesDone_) + 1);
  for (uint32_t i = 0; i < told; ++i) deliver(entries[i], status);
  if (told != entries.size()) fail(entries, told, 0);
  destroyEntries(entries);
  return 1;
}

// A caller's own bytes of a read. Null when there is no memory.
Qv::Ptr<iMemHolder> FileRequest::sliceFor(const CompletionInfo& entry) const try {
  uint32_t start = entry.bufferPosition_ - static_cast<uint32_t>(startAdjust_);
  return Qv::Ptr<iMemHolder>(new MemRef(buffer_, start, entry.length_));
} catch (const std::bad_alloc&) {
  return nullptr;
}

void FileRequest::deliver(CompletionInfo* entry, uint32_t status) {
  Qv::Ptr<iMemHolder> data;
  if (status == TOO_SLOW) {
    (void)FSYS_CHECK(false, "fsys/FileRequest line 537");
  } else if (is_read_) {
    data = sliceFor(*entry);
    if (!data) {
      OsAtomics::store(FsysError, uint32_t{eOsNoMemory});
      return entry->callback_(entry->context_, data, eRequestFailed);
    }
  } else {
    data = buffer_;
  }
  entry->callback_(entry->context_, data, eRequestSucceeded);
}

// For a request that will not be finished: whoever waits for it, or for one merged into it, goes
// on.
void FileRequest::wakeWaiters() {
  for (CompletionInfo* entry : completions_) {
    Qv::Ptr<iMemHolder> nothing;
    if (entry->callback_ == &SyncFileRequest::SynchWaiter)
      entry->callback_(entry->context_, nothing, eRequestFailed);
  }
}

bool FileRequest::CheckCompletionList() const {
  unsigned size = buffer_ ? buffer_->getSize() : 0;
  for (const CompletionInfo* entry : completions_) {
    if (entry->bufferPosition_ == 0) return true;
    if (entry->bufferPosition_ > size) return false;
  }
  return false;
}

void FileRequest::WaitForSynchCompletion() {
  Qv::Ptr<iThreadEvent> waiter = waiter_;
  if (waiter) waiter->wait(iThreadEvent::kForever);
}
