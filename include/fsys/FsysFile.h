#pragma once

#include <cstdint>

#include "fsys/CompletionInfo.h"
#include "fsys/Export.h"
#include "platform/CriticalSection.h"
#include "platform/LightweightString.h"
#include "platform/OsAtomics.h"
#include "platform/OsFiles.h"
#include "platform/OsThreads.h"
#include "platform/Vector.h"

class FileRequest;
class FsysPoll;
class CompletionPortHandler;

// SEEK_TYPE: from where FsysFile::Seek counts.
enum SEEK_TYPE : uint32_t {
  eSeekFromCurrent = 0,
  eSeekFromStart = 1,
};

// FsysFile: one open media file of the engine.
// Story      Fsys::OpenFile makes it and puts it on the engine's list for its direction. Callers
//            stream with DirectRead and DirectWrite; these queue requests; the poller starts them;
//            completions finish them. Fsys::Close drains it and takes it away.
// Threads    DirectRead, QueueReadRequest: any, at once. DirectWrite, Read, Write, Seek,
//            WaitForDrain: one thread at a time a file (the write cache and the position are not
//            locked); a write's own callback may write on, also while the writer still waits in
//            DirectWrite, or while the file is being closed. StartRequests: completion threads, a
//            writer that waits, the engine's end. The file's lock guards both request lists; it is
//            re-entrant, and the list's lock comes before it. Counters are atomic.
// Ownership  owned by the engine from open to close. Calls in progress, passes and transfers in
//            flight hold a pin: the object goes when the last of them lets go.
// Units      bytes; positions 64-bit, lengths 32-bit.
// Errors     1 success; 0 failure; 8 too many deferred requests (CheckRequestListSize, DirectRead);
//            an OsError from the platform. A failure moves no position.
// States     open -> closing (nothing is queued any more) -> gone. A file that its engine left open
//            is inert: every call fails or does nothing, and nothing calls back.
// Kept       DirectRead after DisableCache counts as accepted and does nothing
//            (FsysFileDirectTest.ADisabledCacheIgnoresReads); the kept read that is dropped is the
//            last in the list and never the first
//            (FsysFileTest.TheLastKeptReadIsDroppedAndNeverTheFirst); a synchronous write kicks
//            nobody before its completion: the poller's own pass starts it, or, on a drive that
//            answers soon, its writer's
//            (FsysFileTest.ASynchronousWriteKicksOnlyAfterItsCompletion).
class FSYS_EXPORT FsysFile {
public:
  using RequestList = Vector<FileRequest*>;

  FsysFile(const LightweightString<wchar_t>& path, FsysPoll* poll, uint32_t sectorSize,
           iDiskDrive::eType driveType, uint32_t flags, uint32_t coalesceLength);
  FsysFile(const Qv::Ptr<iFile>& file, FsysPoll* poll, uint32_t sectorSize,
           iDiskDrive::eType driveType, uint32_t flags, uint32_t coalesceLength);
  FsysFile(const FsysFile&) = delete;
  FsysFile& operator=(const FsysFile&) = delete;

  // Fixed order of virtual operations.

  virtual ~FsysFile();
  // Opens the path, through its link if it is one: a target must begin with the separator, or be a
  // provider's, else eOsInvalid. 1, or an OsError.
  virtual uint32_t LowLevelOpen(const LightweightString<wchar_t>& path, uint32_t flags,
                                bool network);
  virtual uint32_t LowLevelClose();
  // Start one request's transfer; they return before it ends. 1, or an OsError and nothing started.
  virtual uint32_t LowLevelAsyncRead(FileRequest* request);
  virtual uint32_t LowLevelAsyncWrite(FileRequest* request);
  // Transfer at the file's position, which they do not move. A read that ends at the end of the
  // file is 1 with zeros behind it; one that begins there is 0.
  virtual uint32_t LowLevelRead(void* buffer, uint32_t bytes);
  virtual uint32_t LowLevelWrite(void* buffer, uint32_t bytes);
  virtual uint32_t LowLevelGetInfo(FILE_INFO* info);
  // Sends this file's completions to the handler.
  virtual uint32_t SetUpIoCompletionNotify(CompletionPortHandler* handler);

  // Streaming.

  // Reads a range; the data arrives through the callback. `deferrable`: the request may wait for
  // the poller's next pass when immediate request handling is off.
  // Returns 1 when accepted; 0 or 8 when the list is full; 0 when the file is closing, or was
  // opened for writing (FsysError: eOsAccessDenied).
  uint32_t DirectRead(long position, uint32_t length, bool deferrable, CompletionCallback callback,
                      Qv::Ptr<iObject>& context);
  // Writes the holder's getSize() bytes at the file's position. 0 for an empty holder, one without
  // memory, a closing file, or one that was not opened for writing (FsysError: eOsAccessDenied).
  // The holder's bytes must not change until the callback.
  uint32_t DirectWrite(Qv::Ptr<iMemHolder>& data, bool deferrable, CompletionCallback callback,
                       Qv::Ptr<iObject>& context, bool synchronous);

  // At the position, waited for.

  // Synchronous transfers. Write sends what the write cache holds first.
  uint32_t Read(void* buffer, uint32_t bytes);
  uint32_t Write(void* buffer, uint32_t bytes);
  // Sends what the write cache holds, then moves. Returns 1.
  uint32_t Seek(long offset, SEEK_TYPE type);

  // Queues.

  // 1: the request is the file's (merged requests are gone). 0: it stays the caller's.
  uint32_t QueueReadRequest(FileRequest* request);
  uint32_t QueueWriteRequest(FileRequest* request);
  uint32_t CheckRequestListSize(RequestList* list);
  void removeOldestRequest(RequestList* list);
  // A pass over one list: by a completion thread whose callback asked for it, or a writer that
  // waits, with no lock held.
  uint32_t StartRequests(RequestList* list);

  // Caches, and what is outstanding.

  // Sends the write cache and waits at most 4000 ms for writes in flight.
  void WaitForDrain();
  // Signals the drain event while no write is outstanding, resets it otherwise.
  void CheckOutstandingWrites();

  // Answers a read from a finished one: 1, and the request is gone. 0: nothing changed.
  uint32_t SatisfyFromCache(FileRequest* request);
  void AllocWriteCache();
  void FreeWriteCache();
  // Sends the partial sector that is pending, padded with zeros. The write's result.
  uint32_t SendWriteSegBuffer();
  // Destroys every request of the read list. 1.
  uint32_t ClearMemoryRefs();

  uint32_t GetSectorSize() const { return sectorSize_; }
  uint32_t DisableCache();
  bool isASyncIOSupported() const;
  const LightweightString<wchar_t>& GetName() const { return name_; }
  uint64_t GetPosition() const { return position_.get(); }
  // Bytes of queued or started requests.
  uint32_t GetReadBytesOutstanding() const { return readBytesOutstanding_.get(); }
  uint32_t GetWriteBytesOutstanding() const { return writeBytesOutstanding_.get(); }
  // Reads that were answered from finished ones. A figure.
  uint32_t GetCacheHits() const { return cacheHits_.get(); }

private:
  friend class Fsys;
  friend class FsysPoll;
  friend class FlushTask;
  friend class FileRequest;
  friend class FilePin;
  friend class IOCompletionReceiver;
  friend class ServedTransfer;
  friend struct LayoutPeer;
  friend struct FsysFilePeer;

  friend class DeliveryScope;

  void init();
  // Lifetime. Any thread; the last unpin destroys.
  void pin();
  void unpin();
  void makeInert();
  void takeOffWhatIsLeft();
  bool hasPendingSegment();

  // Transfers (FsysFileIo.cpp).
  uint32_t startTransfer(FileRequest* request, bool write);
  uint32_t handOver(FileRequest* request, bool write);
  uint32_t serveTransfer(FileRequest* request, const AsyncTransfer& transfer, bool write);
  uint32_t leaveToCaller(FileRequest* request, const AsyncTransfer& transfer);
  void settleWrites();

  // Queues (FsysFileQueues.cpp). ...Locked: the file's lock is held.
  bool mayDefer(const FileRequest* request) const;
  bool isCountedAsDeferred(const FileRequest* write) const;
  uint32_t enterWrite(FileRequest* request);
  bool isCarriedByCaller(const FileRequest* write) const;
  struct EnteredWrite;
  void followEnteredWrite(EnteredWrite& write);
  void carryOwnWrite(FileRequest* request);
  Qv::Ptr<iTask> takeOwnTransfer(FileRequest* request);
  bool mergeLocked(RequestList* list, FileRequest* request);
  bool appendLocked(RequestList* list, FileRequest* request);
  void countDeferred();
  void kickPoll();
  void countOutstanding(bool read, int64_t delta);
  void tellStarted() const;
  // StartRequests by who holds a pin already: a pass over all files, under their list's lock.
  uint32_t startPinned(RequestList* list);
  void removeOldestLocked(RequestList* list);
  void sweepFailedLocked(RequestList* list);
  uint32_t startOne(FileRequest* request);
  bool startQueuedLocked(RequestList* list);
  void finishWithoutTransfer(FileRequest* request);
  void failStartLocked(RequestList* list, FileRequest* request, uint32_t code);
  void failUnfinished(RequestList* list);
  FileRequest* takeUnfinished(RequestList* list);
  void dropLocked(FileRequest* request);
  void abandonAll(RequestList* list);

  // Direct transfers (FsysFileDirect.cpp).
  FileRequest* findCachedLocked(const FileRequest* request);
  bool writeCachingInForce() const;
  bool goesStraight(uint32_t bytes) const;
  uint32_t cachedBytes() const;
  struct WriteCall;
  bool enterWriting();
  void leaveWriting();
  void waitForWriters();
  bool writersHaveLeft(unsigned looks);
  uint32_t queueWriteWithRetry(WriteCall& call, FileRequest* request);
  uint32_t queueStraight(WriteCall& call, bool synchronous);
  uint32_t stageWrite(WriteCall& call, bool async);
  uint32_t sendStaged(WriteCall& call, uint32_t bytes, const Qv::Ptr<iMemHolder>& next);
  uint32_t appendToCache(const unsigned char* bytes, uint32_t count);
  bool growCache(uint64_t bytes);
  void continueIn(const Qv::Ptr<iMemHolder>& next, uint32_t sent);
  // Who sends what is held as the file ends: a closer, or who leaves the file behind.
  enum eLast : uint32_t { eNobody, eCloser, eLeaver };
  bool claimLastFlush(eLast who);
  bool isShare() const;
  uint32_t flushCache();
  uint32_t flushForClosing();
  uint32_t flushCacheInTime();
  FileRequest* makeFlush(uint32_t held);
  bool hasArrivedInTime(FileRequest* write);

  static constexpr uint32_t kDrainWait_ms = 4000;  // longest wait for writes in flight

  // Fixed order.
  iDiskDrive::eType driveType_;
  uint32_t sectorSize_;
  FsysPoll* poll_;  // null once inert
  Qv::Ptr<iFile> file_;
  Qv::Ptr<iFile> probe_;
  LightweightString<wchar_t> name_;
  RequestList* readRequests_;   // owned; guarded by *lock_
  RequestList* writeRequests_;  // owned; guarded by *lock_
  CriticalSection* lock_;       // owned
  OsWord<bool> closing_{false};
  Qv::Ptr<iThreadEvent> drainEvent_;
  OsCounter<uint32_t> deferredCount_;
  OsCounter<uint64_t> position_;
  Qv::Ptr<iMemHolder> writeSegment_;
  uint32_t pendingSegmentBytes_ = 0;
  Qv::Ptr<iMemHolder> writeCache_;
  unsigned char* writeCacheFill_ = nullptr;
  uint64_t writeCachePosition_ = 0;
  bool cacheDisabled_ = false;
  uint32_t flags_;
  OsCounter<uint32_t> coalesceLength_;
  OsCounter<uint32_t> writeBytesOutstanding_;
  OsCounter<uint32_t> readBytesOutstanding_;

  // Ours.
  FsysFile* nextOwed_ = nullptr;  // whose close is owed as well; guarded by the engine's own lock
  uint32_t writeCacheCapacity_ = 0;
  uint32_t writersInside_ = 0;  // calls of DirectWrite; guarded by *lock_
  const bool mayNameVolume_;    // a drive's location can have that name
  bool attached_ = false;
  eLast lastFlush_ = eNobody;        // guarded by *lock_
  bool isLeftBehind_ = false;        // guarded by the list's lock
  bool flushGivenUp_ = false;        // one thread at a time, as the write cache
  OsWord<bool> heldIsSent_{false};   // as it closes, as far as the system took it
  OsWord<bool> wroteBehind_{false};  // and nobody has settled it
  OsWord<bool> foundWork_{false};    // the last pass started something
  OsShares pins_{1};
  OsCounter<uint32_t> cacheHits_;
};

// Keeps a file in memory for a scope.
class FilePin {
public:
  explicit FilePin(FsysFile* file) : file_(file) { file_->pin(); }
  ~FilePin() { file_->unpin(); }
  FilePin(const FilePin&) = delete;
  FilePin& operator=(const FilePin&) = delete;

private:
  FsysFile* file_;
};
