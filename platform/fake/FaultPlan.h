#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <vector>

// FaultPlan: what goes wrong in the fake, and when.
// Story      The fault model: a service call may be refused with an error, a transfer may fail or
//            move fewer bytes than it was asked to. Faults are armed for the n-th call of a kind,
//            counted from the moment of arming, and strike once or from then on. Nothing goes wrong
//            by itself. Writes that are lost after they were acknowledged are FakeCrash's. Not
//            modelled: bytes that change on the disk, and failures of the heap.
//            A refused call changes nothing: no file is made, no transfer is queued, no memory is
//            taken. A transfer that fails as it finishes moves no byte. A shortened one moves the
//            bytes it was given: a read's rest is zero-filled as at the end of a file; a shortened
//            write is told as a success, which no system does, and which callers must bear.
// Threads    one, like everything in the fake.
// Units      calls count from 1; lengths in bytes.
// Errors     where a call answers by null or false, the error becomes the thread's last error.
class FaultPlan {
public:
  enum eCall : size_t {
    eOpenMedia,
    eOpenFile,
    eGetDisk,
    eGetDisks,
    eOnDrive,       // refused: the errand does not run
    eAnswerErrand,  // late: the errand is held, as by a drive that is silent, and runs later
    eGetSpace,
    eGetInfo,
    eExists,
    eGetFileSize,
    eDeleteFile,   // the file and each side file of an eDeleteMedia, too
    eDeleteMedia,  // refused: nothing goes
    eDeleteSubfolder,
    eDeleteSideFiles,
    eCreateFolder,
    eFolderExists,
    eIsWritable,
    eListFiles,
    eRenameFile,
    eSyncFolder,
    eFollowLinks,
    eCopyMode,
    eMarkFile,
    eAskLock,
    eGetUNCName,
    eGetShares,
    eRead,   // synchronous, at an offset or at the position
    eWrite,  // the same, and behind
    eSettle,
    eFlush,
    eAttach,
    eStartRead,  // refused at the start: nothing will be reported
    eStartWrite,
    eFinishRead,  // fails, or is short, as it finishes
    eFinishWrite,
    eAllocateRegion,
    eCreateEvent,
    eCreateThread,
    eCreateTaskQueue,
    ePostTask,
    eCreateContext,
    eCreatePort,
    eCallKinds
  };
  enum eSpan { eOnce, eFromThenOn };
  struct Verdict {
    uint32_t error = 0;  // 0: goes well
    bool shortened = false;
    uint32_t bytes = 0;  // most bytes to move, when shortened
  };

  // The `nth` call from now, 1 being the next one, fails with `error`.
  void fail(eCall call, uint32_t error, unsigned nth = 1, eSpan span = eOnce);
  // The `nth` transfer from now moves at most `bytes`. For the reading and writing kinds.
  void shorten(eCall call, uint32_t bytes, unsigned nth = 1, eSpan span = eOnce);
  // Disarms everything; the counts stay.
  void clear();

  // Calls since the fake was made, faulty ones included.
  unsigned calls(eCall call) const { return kinds_[call].calls; }
  // How often an armed fault struck.
  unsigned fired(eCall call) const { return kinds_[call].fired; }
  // Whether a fault is armed that has not struck yet.
  bool waiting(eCall call) const;

  // For the services: counts a call and says what is to go wrong with it.
  Verdict next(eCall call);

private:
  struct Fault {
    unsigned atCall;
    eSpan span;
    bool struck;
    Verdict verdict;
  };
  struct Kind {
    unsigned calls = 0;
    unsigned fired = 0;
    std::vector<Fault> faults;
  };
  void arm(eCall call, unsigned nth, eSpan span, const Verdict& verdict);

  std::array<Kind, eCallKinds> kinds_;
};
