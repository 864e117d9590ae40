#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

// FaultCall: the calls of the system that can fail.
enum class FaultCall : size_t {
  eOpenMedia,  // probes too
  eOpenFile,
  eOpenServed,
  eGetDisk,
  eGetDisks,
  eOnDrive,   // the errand does not run
  eGetSpace,  // of a drive
  eExists,
  eGetFileSize,  // by name
  eDeleteFile,
  eDeleteMedia,  // nothing goes
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
  eGetSize,  // of an open file
  eGetInfo,
  eRead,   // synchronous, at an offset or at the position
  eWrite,  // behind, too
  eSettle,
  eFlush,
  eAttach,
  eStartRead,  // refused at the start: nothing will be reported
  eStartWrite,
  eFinishRead,  // was started, and ends badly
  eFinishWrite,
  eCreateContext,
  eCreatePort,
  eCreateEvent,
  eCreateThread,
  eCreateTaskQueue,
  ePostTask,
  eAllocateRegion,
  eAllocate,  // the heap: whatever asks it, this test's own code included
  eKinds
};

constexpr size_t kFaultCalls = static_cast<size_t>(FaultCall::eKinds);

// Every kind, in order.
std::vector<FaultCall> everyFaultCall();
// The name of a kind, for people.
const char* faultCallName(FaultCall call);
// The error numbers that Linux gives there. Never none.
std::span<const uint32_t> faultErrors(FaultCall call);
// Whether such a call transfers bytes, so that it can be cut short.
bool isTransfer(FaultCall call);
