// FsysFile's direct transfers and the two caches behind them.

#include <cstring>
#include <limits>
#include <new>
#include <utility>

#include "fsys/DeliveryScope.h"
#include "fsys/EngineSettings.h"
#include "fsys/EnteredWrite.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fsys/HolderCapacity.h"
#include "fsys/MemBlock.h"
#include "fsys/ResultCodes.h"
#include "fsys/WriteMemRef.h"
#include "platform/Check.h"
#include "platform/OS.h"

namespace {

constexpr uint32_t kStagedLimit_bytes = 131072;  // held bytes above which the cache is sent
constexpr uint32_t kRetrySleep_ms = 20;
constexpr uint32_t kWritersSleep_ms = 1;
constexpr uint64_t kLargestCache_bytes =
    std::numeric_limits<uint32_t>::max() - uint64_t{MemBlock::kExtraBytes};

// For a transfer in the direction that the file was not opened for.
uint32_t refuse() {
  OsAtomics::store(FsysError, uint32_t{eOsAccessDenied});
  return eResultFailed;
}

// A write cache with room for so many bytes. Null when there is no memory.
Qv::Ptr<iMemHolder> makeCache(uint32_t bytes) {
  Qv::Ptr<iMemHolder> cache(bytes <= WriteMemRef::kBytes ? static_cast<iMemHolder*>(new WriteMemRef)
                                                         : new MemBlock(bytes));
  return cache->getBuffer() ? cache : nullptr;
}

}  // namespace

// Reading ----------------------------------------------------------------------------------------

uint32_t FsysFile::DirectRead(long position, uint32_t length, bool deferrable,
                              CompletionCallback callback, Qv::Ptr<iObject>& context) {
  FilePin pin(this);
  // The poller of a file opened for writing starts no reads: nobody would ever answer.
  if (flags_ & iFileManager::eFlagWrite) return refuse();
  uint32_t result = CheckRequestListSize(readRequests_);
  if (result != eResultOk) return result;
  // A file whose cache is disabled takes the read and does nothing.
  if (!cacheDisabled_) {
    auto* request = new FileRequest(true, length, static_cast<uint64_t>(position), deferrable,
                                    false, nullptr, this, callback, context);
    if (SatisfyFromCache(request) != eResultOk) {
      result = QueueReadRequest(request);
      if (result != eResultOk) {
        request->release();
        return result;
      }
    }
  }
  position_.add(length);
  return eResultOk;
}

FileRequest* FsysFile::findCachedLocked(const FileRequest* request) {
  for (FileRequest* kept : *readRequests_)
    if (kept->status() == FileRequest::COMPLETED && kept->is_read_ && kept->encompasses(request))
      return kept;
  return nullptr;
}

uint32_t FsysFile::SatisfyFromCache(FileRequest* fr) {
  if (closing_ || !lock_) return eResultFailed;
  FilePin pin(this);
  {
    CriticalSectionLock lock(*lock_);
    FileRequest* CachedFr = findCachedLocked(fr);
    if (!CachedFr) return eResultFailed;
    CachedFr->Use();
    fr->setStatus(FileRequest::SUCCEEDED);
    fr->bytesDone_ = fr->ByteCount_;
    fr->startAdjust_ = CachedFr->startAdjust_;
    if (!fr->completions_.empty())
      fr->completions_[0]->bufferPosition_ = static_cast<uint32_t>(fr->offset_ - CachedFr->offset_);
    (void)FSYS_CHECK(fr->buffer_ == NULL, "fsys/FsysFile");
    (void)FSYS_CHECK(CachedFr->buffer_ != NULL, "fsys/FsysFile");
    if (CachedFr != fr) fr->buffer_ = CachedFr->buffer_;
  }
  cacheHits_.add(1);
  {
    DeliveryScope scope(fr);
    fr->doCallbacks();
  }
  fr->release();
  return eResultOk;
}

uint32_t FsysFile::ClearMemoryRefs() {
  if (!lock_) return eResultOk;
  CriticalSectionLock lock(*lock_);
  while (!readRequests_->empty()) {
    FileRequest* fr = (*readRequests_)[0];
    (void)FSYS_CHECK(fr->is_read_, "fsys/FsysFile");
    readRequests_->removeIdx(0);
    dropLocked(fr);
  }
  return eResultOk;
}

// Writing ----------------------------------------------------------------------------------------

// One call of DirectWrite. While it is inside no closer touches the position and the cache; it is
// out again before anybody is called or waited for.
struct FsysFile::WriteCall {
  FsysFile* file;
  Qv::Ptr<iMemHolder>& data;
  bool deferrable;
  CompletionCallback callback;
  Qv::Ptr<iObject>& context;
  bool isInside = file->enterWriting();

  void leave() {
    if (std::exchange(isInside, false)) file->leaveWriting();
  }
  ~WriteCall() { leave(); }

  FileRequest* makeRequest(uint32_t bytes, bool synchronous, const Qv::Ptr<iMemHolder>& holder) {
    // Who is telling callers on this thread must not wait: others wait for it.
    return new FileRequest(false, bytes, file->position_.get(), deferrable,
                           synchronous && !DeliveryScope::active(), holder, file, callback,
                           context);
  }
};

bool FsysFile::enterWriting() {
  CriticalSectionLock lock(*lock_);
  if (closing_) return false;
  ++writersInside_;
  return true;
}

void FsysFile::leaveWriting() {
  CriticalSectionLock lock(*lock_);
  --writersInside_;
}

// For a closer, once the file is marked: a callback may be writing at this moment.
void FsysFile::waitForWriters() {
  while (!writersHaveLeft(1)) OS()->getThreads()->sleep(kWritersSleep_ms);
}

// Looks so many times, with a short sleep in between.
bool FsysFile::writersHaveLeft(unsigned looks) {
  for (;;) {
    {
      CriticalSectionLock lock(*lock_);
      if (writersInside_ == 0) return true;
    }
    if (--looks == 0) return false;
    OS()->getThreads()->sleep(kWritersSleep_ms);
  }
}

uint32_t FsysFile::DirectWrite(Qv::Ptr<iMemHolder>& data, bool deferrable,
                               CompletionCallback callback, Qv::Ptr<iObject>& context,
                               bool synchronous) {
  if (!data || !data->getBuffer() || !lock_) return eResultFailed;
  FilePin pin(this);
  if (!(flags_ & iFileManager::eFlagWrite)) return refuse();
  WriteCall call{this, data, deferrable, callback, context};
  if (!call.isInside) return eResultFailed;
  bool async = isASyncIOSupported();
  if (async && goesStraight(data->getSize())) return queueStraight(call, synchronous);
  return stageWrite(call, async);
}

bool FsysFile::writeCachingInForce() const {
  return EngineSettings::networkWriteCaching &&
         (driveType_ == iDiskDrive::eNetwork || EngineSettings::AlwaysUseWriteCache == 1);
}

bool FsysFile::goesStraight(uint32_t bytes) const {
  return position_.get() % sectorSize_ == 0 && bytes % sectorSize_ == 0 && !writeCachingInForce() &&
         cachedBytes() == 0;
}

uint32_t FsysFile::queueStraight(WriteCall& call, bool synchronous) {
  const uint64_t begin = position_.get();
  FileRequest* request = call.makeRequest(call.data->getSize(), synchronous, call.data);
  // Before the request is seen: its callback may write on, and come before this returns.
  writeCachePosition_ = position_.add(call.data->getSize());
  uint32_t result = queueWriteWithRetry(call, request);
  if (result != eResultOk) {
    position_.set(begin);
    writeCachePosition_ = begin;
  }
  return result;
}

// Owns the request until it is queued.
uint32_t FsysFile::queueWriteWithRetry(WriteCall& call, FileRequest* request) {
  EnteredWrite write(*this, request);
  for (int retries = 0;;) {
    uint32_t result = enterWrite(request);
    if (result == eResultOk) {
      call.leave();
      followEnteredWrite(write);
      return result;
    }
    // Where this thread is telling callers nobody can empty the list while it sleeps.
    if (!closing_ && !DeliveryScope::active() && FsysGetLastError() == eResultListFull) {
      ++retries;
      OS()->getThreads()->sleep(kRetrySleep_ms);
      if (retries <= EngineSettings::MaxFsysWriteRetries) continue;
    }
    request->release();
    return result;
  }
}

uint32_t FsysFile::stageWrite(WriteCall& call, bool async) {
  uint32_t result = appendToCache(call.data->getBuffer(), call.data->getSize());
  if (result != eResultOk) return result;
  uint32_t held = cachedBytes();
  uint32_t remainder = held % sectorSize_;
  uint32_t bytes = held - remainder;
  if (held <= kStagedLimit_bytes || bytes == 0) {
    call.leave();
    DeliveryScope scope(this);
    if (call.callback) call.callback(call.context, call.data, eRequestSucceeded);
    return eResultOk;
  }
  Qv::Ptr<iMemHolder> next = makeCache(remainder);
  if (!next) return eResultNoBufferSpace;
  if (async) return sendStaged(call, bytes, next);
  result = LowLevelWrite(writeCache_->getBuffer(), bytes);
  if (result == eResultOk) continueIn(next, bytes);
  return result;
}

// Writes the first bytes of the cache and waits for it. The cache becomes the request's; what is
// behind those bytes goes on in the next one.
uint32_t FsysFile::sendStaged(WriteCall& call, uint32_t bytes, const Qv::Ptr<iMemHolder>& next) {
  const Qv::Ptr<iMemHolder> sent = writeCache_;
  const uint32_t held = cachedBytes();
  const uint32_t capacity = writeCacheCapacity_;
  const uint64_t begin = position_.get();
  FileRequest* request = call.makeRequest(bytes, true, sent);
  request->behind_ = true;
  // Before the request is seen: its callback may write on while this thread still waits.
  continueIn(next, bytes);
  uint32_t result = queueWriteWithRetry(call, request);
  if (result == eResultOk) return result;
  // Nobody has seen it: the bytes are held as they were.
  position_.set(begin);
  writeCache_ = sent;
  writeCacheFill_ = sent->getBuffer() + held;
  writeCacheCapacity_ = capacity;
  writeCachePosition_ = begin;
  return result;
}

// The write cache --------------------------------------------------------------------------------

void FsysFile::AllocWriteCache() {
  writeCache_ = Qv::Ptr<iMemHolder>(new WriteMemRef);
  writeCacheFill_ = writeCache_->getBuffer();
  writeCacheCapacity_ = writeCacheFill_ ? WriteMemRef::kBytes : 0;
  writeCachePosition_ = position_.get();
}

void FsysFile::FreeWriteCache() {
  writeCache_.reset();
  writeCacheFill_ = nullptr;
  writeCacheCapacity_ = 0;
}

uint32_t FsysFile::cachedBytes() const {
  return writeCache_ ? static_cast<uint32_t>(writeCacheFill_ - writeCache_->getBuffer()) : 0;
}

uint32_t FsysFile::appendToCache(const unsigned char* bytes, uint32_t count) {
  // Bytes that a failed flush left behind belong elsewhere: they go first.
  if (cachedBytes() > 0 && writeCachePosition_ != position_.get()) {
    uint64_t position = position_.get();
    uint32_t result = flushCache();
    if (result != eResultOk) return result;
    position_.set(position);
  }
  uint64_t needed = uint64_t{cachedBytes()} + count;
  if (needed > writeCacheCapacity_ && !growCache(needed)) return eResultNoBufferSpace;
  if (cachedBytes() == 0) writeCachePosition_ = position_.get();
  std::memcpy(writeCacheFill_, bytes, count);
  writeCacheFill_ += count;
  return eResultOk;
}

// More than the cache holds is gathered in a buffer of its own, which takes the cache's place until
// it was sent.
bool FsysFile::growCache(uint64_t bytes) {
  if (bytes > kLargestCache_bytes) return false;
  Qv::Ptr<iMemHolder> larger(new MemBlock(static_cast<uint32_t>(bytes)));
  if (!larger->getBuffer()) return false;
  uint32_t held = cachedBytes();
  if (held > 0) std::memcpy(larger->getBuffer(), writeCache_->getBuffer(), held);
  writeCache_ = larger;
  writeCacheFill_ = larger->getBuffer() + held;
  writeCacheCapacity_ = static_cast<uint32_t>(bytes);
  return true;
}

// Moves what is behind the first `sent` bytes to the start of the next cache.
void FsysFile::continueIn(const Qv::Ptr<iMemHolder>& next, uint32_t sent) {
  uint32_t remainder = cachedBytes() - sent;
  std::memcpy(next->getBuffer(), writeCache_->getBuffer() + sent, remainder);
  writeCache_ = next;
  writeCacheFill_ = next->getBuffer() + remainder;
  writeCacheCapacity_ = holderCapacity(*next);
  writeCachePosition_ = position_.add(sent);
}

// Sends what the cache holds at the cache's own position, and leaves the file's position behind it.
// After a failure the bytes are still held and the position is as it was.
uint32_t FsysFile::flushCache() {
  uint32_t held = cachedBytes();
  if (held == 0) return eResultOk;
  uint64_t before = position_.get();
  position_.set(writeCachePosition_);
  uint32_t result = LowLevelWrite(writeCache_->getBuffer(), held);
  if (result != eResultOk) {
    position_.set(before);
    return result;
  }
  position_.add(held);
  writeCacheFill_ = writeCache_->getBuffer();
  writeCachePosition_ = position_.get();
  return eResultOk;
}

// False when somebody else of that kind has it. The write cache has no lock of its own.
bool FsysFile::claimLastFlush(eLast who) {
  CriticalSectionLock lock(*lock_);
  if (lastFlush_ != eNobody && lastFlush_ != who) return false;
  lastFlush_ = who;
  return true;
}

bool FsysFile::isShare() const { return driveType_ == iDiskDrive::eNetwork; }

// A close must not wait for ever for a share that does not answer.
uint32_t FsysFile::flushForClosing() {
  return attached_ && isShare() ? flushCacheInTime() : flushCache();
}

// The same as flushCache, as a transfer that is waited for no longer than a drain. What did not
// arrive in that time is not tried again. Without memory for it as ever: bytes that nobody tried to
// write would be lost for sure.
uint32_t FsysFile::flushCacheInTime() {
  uint32_t held = cachedBytes();
  if (held == 0) return eResultOk;
  if (flushGivenUp_) return eResultFailed;
  FileRequest* request = makeFlush(held);
  if (!request) return flushCache();
  uint32_t result = LowLevelAsyncWrite(request);
  if (result != eResultOk) OsAtomics::store(FsysError, result);
  if (result == eResultOk && !hasArrivedInTime(request)) result = eResultFailed;
  request->release();
  if (result != eResultOk) return result;
  position_.set(writeCachePosition_ + held);
  writeCacheFill_ = writeCache_->getBuffer();
  writeCachePosition_ = position_.get();
  return eResultOk;
}

// Null without memory.
FileRequest* FsysFile::makeFlush(uint32_t held) try {
  return new FileRequest(false, held, writeCachePosition_, false, true, writeCache_, this, nullptr,
                         nullptr);
} catch (const std::bad_alloc&) {
  return nullptr;
}

// What has not is cut off; the system keeps the bytes for as long as it needs them.
bool FsysFile::hasArrivedInTime(FileRequest* write) {
  if (!write->waiter_->wait(kDrainWait_ms)) {
    if (write->cutOff()) {
      flushGivenUp_ = true;
      OsAtomics::store(FsysError, uint32_t{eOsCancelled});
      countOutstanding(false, -int64_t{write->ByteCount_});
      write->setStatus(FileRequest::FAILED);
      return false;
    }
    // It is being told at this moment.
    write->waiter_->wait(iThreadEvent::kForever);
  }
  uint32_t status = write->status();
  return status != FileRequest::STARTED && status != FileRequest::FAILED;
}

uint32_t FsysFile::SendWriteSegBuffer() {
  unsigned char* sector = writeSegment_ ? writeSegment_->getBuffer() : nullptr;
  if (!sector || pendingSegmentBytes_ > sectorSize_) return eResultFailed;
  std::memset(sector + pendingSegmentBytes_, 0, sectorSize_ - pendingSegmentBytes_);
  FileRequest* request = nullptr;
  try {
    request = new FileRequest(false, sectorSize_, position_.get() - pendingSegmentBytes_, true,
                              false, writeSegment_, this, nullptr, nullptr);
  } catch (const std::bad_alloc&) {
    OsAtomics::store(FsysError, uint32_t{eOsNoMemory});
    return eOsNoMemory;
  }
  uint32_t result = LowLevelAsyncWrite(request);
  request->release();
  if (result == eResultOk) pendingSegmentBytes_ = 0;
  return result;
}
