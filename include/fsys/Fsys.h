#pragma once

#include <cstdint>
#include <memory>

#include "fsys/CompletionInfo.h"
#include "fsys/Export.h"
#include "fsys/FsysBuf.h"
#include "fsys/FsysFile.h"
#include "fsys/IoCompletion.h"
#include "platform/CriticalSection.h"
#include "platform/LightweightString.h"
#include "platform/OsAtomics.h"
#include "platform/Shutdown.h"
#include "platform/Vector.h"

class FsysPoll;

// Fsys: the engine: every open file, the two pollers and the completion receiver.
// Story      FsysInitialize makes the one engine, theFsys; FsysUninitialize, a shutdown callback,
//            ends it. In between it opens and closes files and owns them.
// Threads    OpenFile, Close: any, at once for different files. Each list is guarded by its lock,
//            which is re-entrant and comes before a file's lock; a pass of the poller holds it.
//            The destructor: one thread, when no other call is in progress.
// Ownership  owns its files from a successful open until Close deletes them, the pollers, the
//            buffer pool and a reference to the receiver.
// Errors     1 success, 0 failure; see OpenFile and Close.
// Kept       the destructor closes every other file of a list and leaves the rest open and listed:
//            FsysCloseTest.DestroyingAnEngineWithFourOpenReadFilesClosesTwoOfThem. What those hold
//            is still written, and they are inert afterwards.
class FSYS_EXPORT Fsys {
public:
  Fsys();
  virtual ~Fsys();
  Fsys(const Fsys&) = delete;
  Fsys& operator=(const Fsys&) = delete;

  // Opens a file. `value`: the file's coalesce length, the largest byte count to which queued
  // requests merge. `flags`: 1 read, 2 write (creates, never truncates, continues at the end). The
  // callback is not used. 1 and the file in *file; or 0. FsysError is set, and *file null, when the
  // platform refused the file; an empty path and a file manager that serves no file leave both
  // alone.
  uint32_t OpenFile(FsysFile** file, LightweightString<wchar_t> path, uint32_t value,
                    uint32_t flags, CompletionCallback callback);
  // Drains, closes and deletes the file; waits at most some seconds for transfers that do not end,
  // and gives their callers a failure. 1; or the failing result of sending the pending segment, and
  // the file stays open. From a callback: 1 at once, and a thread of the engine's closes it, or the
  // engine's end when that comes first; 0, and the file stays open, when there is no memory for
  // that. The callback is not used.
  uint32_t Close(FsysFile* file, CompletionCallback callback);
  // Changes the coalesce length of an open file. 0 for one that is not open.
  uint32_t SetCoalesceLength(FsysFile* file, uint32_t length);
  // The bytes of all files' writes that are queued or started. 0 without a place for them.
  uint32_t GetWriteBytesOutstanding(unsigned int* bytes);

  // For a callback that ends the process: takes nothing new, and writes what the write caches hold.
  // Everything else goes with the process.
  void leaveBehind();

  static uint32_t CreateBufferSpace();
  // Kept: BufferSpace_ is not cleared (FsysBufTest.ReleasingLeavesThePointerAsItWas).
  static uint32_t ReleaseBufferSpace();

  static FsysBuf* BufferSpace_;

private:
  friend class CloseTask;
  friend class FsysFile;
  friend class FileRequest;
  friend class IOCompletionReceiver;
  friend struct LayoutPeer;
  friend struct FsysPeer;

  uint32_t openAny(FsysFile** file, const LightweightString<wchar_t>& path, uint32_t value,
                   uint32_t flags);
  std::unique_ptr<FsysFile> openServed(const LightweightString<wchar_t>& path, uint32_t value,
                                       uint32_t flags, uint32_t sectorSize);
  std::unique_ptr<FsysFile> openNative(const LightweightString<wchar_t>& path, uint32_t value,
                                       uint32_t flags, uint32_t sectorSize,
                                       iDiskDrive::eType driveType);
  bool makeReceiver();
  void attach(FsysFile* file, uint32_t flags);
  FsysPoll* pollFor(uint32_t flags) const;
  uint32_t prepareForWriting(FsysFile* file);
  void enlist(FsysFile* file, uint32_t flags);
  void delist(FsysFile* file);
  bool isOpen(FsysFile* file);
  bool claim(FsysFile* file);
  void giveBack(FsysFile* file);
  void giveBackUnclosed(FsysFile* file);
  void closeForCallback(FsysFile* file);
  uint32_t closeClaimed(FsysFile* file);
  uint32_t closeLater(FsysFile* file);
  void letTellersEnd(FsysFile* file, FsysFile::RequestList* requests);
  void waitForRequests(FsysFile* file, FsysFile::RequestList* requests);
  void reportOutstandingWrites(FsysFile* file);
  // The lists go to functions that lock them.
  void drainAll() NO_THREAD_SAFETY_ANALYSIS;
  FsysFile* pinOneToLeave();
  void leave(FsysFile* file);
  bool flushInLeaving(FsysFile* file);
  static void markAllClosing(Vector<FsysFile*>& files, CriticalSection& lock);
  static FsysFile* fileAt(Vector<FsysFile*>& files, CriticalSection& lock, size_t index);
  void closeEveryOther(Vector<FsysFile*>& files, CriticalSection& lock);
  Vector<FsysFile*> takeLeftOpen();
  void beginEnd();
  FsysFile* takeOwed();
  void endQueue(Qv::Ptr<iTaskQueue>& queue);
  iTaskQueue* servedTransfers();

  // Fixed order.
  OsCounter<uint32_t> readBytesOutstanding_;
  OsCounter<uint32_t> writeBytesOutstanding_;
  std::unique_ptr<FsysPoll> readPoll_;
  std::unique_ptr<FsysPoll> writePoll_;
  Vector<FsysFile*> readFiles_ GUARDED_BY(readFilesLock_);
  Vector<FsysFile*> writeFiles_ GUARDED_BY(writeFilesLock_);
  CriticalSection readFilesLock_;
  CriticalSection writeFilesLock_;
  Qv::Ptr<IOCompletionReceiver> receiver_;

  // Ours. The last lock in every order.
  CriticalSection ownLock_;
  Vector<FsysFile*> openFiles_ GUARDED_BY(ownLock_);  // opened, and not yet being closed
  // Threads for what has none of its own: transfers of files without asynchronous ones; closes that
  // callbacks ask for.
  Qv::Ptr<iTaskQueue> servedTransfers_ GUARDED_BY(ownLock_);
  Qv::Ptr<iTaskQueue> closes_ GUARDED_BY(ownLock_);
  bool ending_ GUARDED_BY(ownLock_) = false;
  FsysFile* owed_ GUARDED_BY(ownLock_) = nullptr;  // closes that no thread came to, as a chain
};

// The engine; null before FsysInitialize and after FsysUninitialize.
extern FSYS_EXPORT Fsys* theFsys;
// Result of the last failed low-level operation; 1 means that none has been recorded.
extern FSYS_EXPORT unsigned int FsysError;
// Merge ceilings for the application; the engine only stores them. Bytes.
extern FSYS_EXPORT unsigned int MaxReadCoalesceSize;
// The same for writes.
extern FSYS_EXPORT unsigned int MaxWriteCoalesceSize;
// Whether writes that are too slow are told so: as a success with an empty holder, FsysError 9.
extern FSYS_EXPORT bool GlobalWriteSpeedWarningFlag;

// The flat functions. 1 success, 0 failure; those that need the engine return 0 without one.

// Makes the engine; 1 also when it is there already. 0, and it is logged: it cannot be made.
FSYS_EXPORT uint32_t FsysInitialize();
// Ends the engine; the type does not matter. Called by a callback it is Fsys::leaveBehind.
FSYS_EXPORT void FsysUninitialize(Shutdown::eExitType type);
// Fsys::OpenFile.
FSYS_EXPORT uint32_t FsysOpen(FsysFile** file, LightweightString<wchar_t> path, uint32_t value,
                              uint32_t flags, CompletionCallback callback);
// Fsys::Close.
FSYS_EXPORT uint32_t FsysClose(FsysFile* file, CompletionCallback callback);
// Fsys::SetCoalesceLength.
FSYS_EXPORT uint32_t FsysSetCoalesceLength(FsysFile* file, uint32_t length);
// Fsys::GetWriteBytesOutstanding.
FSYS_EXPORT uint32_t FsysGetWriteBytesOutstanding(unsigned int* bytes);
// FsysError.
FSYS_EXPORT uint32_t FsysGetLastError();

// Settings; meant for set-up.

// Whether every write to a network drive goes through the write cache.
FSYS_EXPORT void FsysSetNetworkWriteCaching(bool on);
// Off: a request that may be deferred waits for the poller's next pass.
FSYS_EXPORT void FsysSetImmediateRequestHandling(bool on);
// GlobalWriteSpeedWarningFlag.
FSYS_EXPORT void FsysSetWriteSpeedWarning(bool on);
// MaxReadCoalesceSize.
FSYS_EXPORT void FsysSetReadMaxCoalesceSize(unsigned int bytes);
// MaxWriteCoalesceSize.
FSYS_EXPORT void FsysSetWriteMaxCoalesceSize(unsigned int bytes);
