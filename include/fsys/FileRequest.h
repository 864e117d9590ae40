#pragma once

#include <cstddef>
#include <cstdint>

#include "fsys/CompletionInfo.h"
#include "fsys/Export.h"
#include "fsys/SyncFileRequest.h"
#include "platform/OsAsyncIo.h"
#include "platform/OsAtomics.h"
#include "platform/OsThreads.h"
#include "platform/Vector.h"

class FsysFile;
class CriticalSection;

// FileRequest: one asynchronous read or write of a byte range of one file.
// Story      A file makes one for a caller's range, and may merge it into a neighbour; the
//            neighbour then answers for it. The poller starts it, the platform transfers, the
//            completion delivers: every caller that was merged in is told about its own bytes. A
//            finished read is kept as the read cache until it is dropped.
// Threads    touched under its file's lock and by the one completion that took its link. The
//            completion list is taken out under the file's lock when it is delivered; what comes
//            after that is not merged.
// Ownership  counted: the file's list holds one share, a transfer in flight one more, and with it
//            one of the file. release() drops a share; the last one destroys it. A request that is
//            in no list and was never started may be deleted.
// Units      bytes. Lengths are computed in 64 bits and refused when they do not fit 32.
// Errors     StartRequest: 1; 10 no buffer space; an OsError. FsysError: set by failed entries.
// States     value  meaning                                  entered by            may go to
//            0      constructed                              constructor           1
//            1      queued on a file                         queuing; back from 2  2
//            2      started                                  the start pass        4 6 5 1
//            3      finished, kept for reuse                 completion, last      destroyed
//            4      finished well, callbacks not yet run     completion, cache     3
//            5      failed, callbacks told                   start, completion     destroyed
//            6      as 4, but counted as too slow            completion            3
//            Readable without the lock (atomic); changed to 3 by an exchange that comes last.
// Kept       a write that does not begin on a sector prints a diagnostic and goes on
//            (FileRequestTest.AnUnalignedWritePrintsItsDiagnostic); status 6 is told as a success
//            with an empty holder (FileRequestTest.ATooSlowWriteIsToldAsSuccessWithoutData).
class FSYS_EXPORT FileRequest {
public:
  // The numbers of the states above.
  enum Status : uint32_t {
    CONSTRUCTED = 0,
    QUEUED = 1,
    STARTED = 2,
    COMPLETED = 3,
    SUCCEEDED = 4,
    FAILED = 5,
    TOO_SLOW = 6,
  };

  static uint32_t CoalesceGap_;  // bytes that a read may read through to merge
  static OsCounter<uint64_t> usageClock_;
  // Figures of the process: reads started and their bytes, requests merged into others.
  static uint64_t GetReadCount();
  static double GetReadBytes();
  static uint64_t GetMergeCount();

  // `deferrable`: queuing need not wake the poller. `synchronous`: queuing waits for completion.
  // `buffer`: the caller's data for a write, empty for a read. The callback may be null.
  FileRequest(bool is_read, uint32_t byteCount, uint64_t offset, bool deferrable, bool synchronous,
              Qv::Ptr<iMemHolder> buffer, FsysFile* file, CompletionCallback callback,
              Qv::Ptr<iObject> context);
  ~FileRequest();
  FileRequest(const FileRequest&) = delete;
  FileRequest& operator=(const FileRequest&) = delete;
  // From a pool: one comes and goes with every transfer.
  static void* operator new(size_t bytes);
  static void operator delete(void* memory);

  // Shares (see Ownership). Any thread.
  void retain();
  void release();
  // Takes a request out of use for good: its late completion is cut off, its share dropped. Callers
  // that were not told stay untold.
  void abandon();

  // Stamps the request as used now.
  void Use();

  // Widens a read to whole sectors. Nothing for sector size 0.
  void ReadSectorAdjust(uint32_t sectorSize);
  // Moves the partial sectors of a write through the file's segment. Returns the bytes that are
  // then pending in it.
  uint32_t WriteSectorAdjust(uint32_t sectorSize, Qv::Ptr<iMemHolder> segment);

  // Whether b's bytes begin in a's, or where they end (reads: or within the gap; writes: exactly
  // there, in the file and in memory).
  static bool runs_into(const FileRequest* a, const FileRequest* b);
  bool encompasses(const FileRequest* other) const;
  // The merged length of b into a; more than 32 bits hold when it cannot be merged.
  static uint64_t FurthestLength(const FileRequest* a, const FileRequest* b);
  // Merges `other` into this; true when it did. The file's lock is held. `other` keeps its list.
  bool Coalesce(FileRequest* other);

  // Starts the transfer, on the poller's thread, file lock held.
  uint32_t StartRequest(FsysFile* file);

  // Index of the last completion entry whose offset lies before `position`; -1 if none.
  int SeekCompletionFunction(uint64_t position) const;
  // Fails the entries from `first` on, in order, and forgets them.
  void NotifyError(uint32_t code, uint32_t first);
  // Tells every caller of a finished request.
  uint32_t doCallbacks();
  bool CheckCompletionList() const;
  void WaitForSynchCompletion();

  uint32_t status() const { return Status_.get(); }
  void setStatus(uint32_t status) { Status_.set(status); }
  // The transfer's range on disk.
  uint64_t transferOffset() const;
  uint64_t transferBytes() const;

private:
  friend class FsysFile;
  friend class Fsys;
  friend class IOCompletionReceiver;
  friend class ServedTransfer;
  friend struct LayoutPeer;
  friend struct FileRequestPeer;

  friend class DeliveryScope;

  using Entries = Vector<CompletionInfo*>;
  // Where a merged range lies.
  struct Merged {
    uint64_t offset;
    uint64_t length;
    uint32_t ownShift;    // by how much this request's entries move up in the buffer
    uint32_t otherShift;  // where the other's entries begin
  };

  CriticalSection* fileLock() const;
  Entries takeEntries(uint32_t first);
  static int lastBefore(const Entries& entries, uint64_t position);
  Qv::Ptr<iMemHolder> sliceFor(const CompletionInfo& entry) const;
  void deliver(CompletionInfo* entry, uint32_t status);
  static void fail(Entries& entries, uint32_t first, uint32_t code);
  static void destroyEntries(Entries& entries) noexcept;
  bool mayTake(const FileRequest* other) const;
  bool mergedRange(const FileRequest* other, Merged& merged) const;
  bool adopt(const FileRequest* other, const Merged& merged);
  void copyEntries(const Entries& entries, uint32_t shift);
  void keepHolders(const FileRequest* other);
  uint32_t startRead(FsysFile* file);
  uint32_t startWrite(FsysFile* file);
  uint32_t splitOffSector(uint32_t sectorSize, uint64_t offset, const Qv::Ptr<iMemHolder>& segment);
  bool holderSuffices() const;
  unsigned char* transferBuffer() const;
  Qv::Ptr<iObject> transferKeep() const;
  void wakeWaiters();
  // Cuts the link to a transfer in flight. False when there is none, or its completion has begun.
  bool cutOff();
  void beginTransfer();
  void endTransfer();

  // Fixed order.
  bool is_read_;
  bool synchronous_;
  OsWord<uint32_t> Status_{CONSTRUCTED};
  uint64_t offset_;
  int32_t startAdjust_ = 0;
  uint32_t ByteCount_;
  bool deferrable_;
  int32_t lengthAdjust_ = 0;
  uint32_t bytesDone_ = 0;
  Qv::Ptr<iMemHolder> buffer_;
  Qv::Ptr<iAsyncContext> asyncContext_;
  Entries completions_;  // owned; guarded by the file's lock once queued
  double startTime_ms_ = 0;
  FsysFile* file_;
  uint16_t startRetries_ = 0;
  uint64_t lastUse_ = 0;
  Qv::Ptr<iThreadEvent> waiter_;

  // Ours.
  Qv::Ptr<SyncFileRequest> syncContext_;
  Vector<Qv::Ptr<iMemHolder>> mergedHolders_;  // what merged writes are written from
  bool delivered_ = false;  // the entries were taken: nothing may be merged any more
  bool inFlight_ = false;   // holds the transfer's share and pin; who has the link has it
  bool startedWithoutTransfer_ = false;
  bool carriedByCaller_ = false;  // who waits for it makes the transfer
  bool behind_ = false;           // it may be written behind
  Qv::Ptr<iTask> ownTransfer_;    // started, for the caller to make; guarded by the file's lock
  bool unlisted_ = false;         // went straight to the platform: no list sweeps it
  uint32_t sectorResult_ = 1;     // of the sector that was split off
  FileRequest* nextGivenUp_ = nullptr;  // while its closer tells those that it gives up
  OsShares shares_{1};
};
