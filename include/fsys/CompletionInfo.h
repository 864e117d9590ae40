#pragma once

#include <cstddef>
#include <cstdint>

#include "fsys/Export.h"
#include "fsys/iMemHolder.h"

// RequestStatus: what a completion callback is told.
enum RequestStatus : uint32_t {
  eRequestSucceeded = 2,
  eRequestFailed = 3,
};

// A completion callback: the caller's context, the data, the outcome.
//   A read that succeeded: the data is a holder of exactly the bytes that were asked for, good as
//   long as it is kept. A write that succeeded: the holder that was written from. A failure: the
//   data holder is empty; FsysGetLastError says more.
// Threads    callbacks run in three settings:
//            - on a completion thread, no lock held (a transfer ended);
//            - on the caller's own stack, no lock held (answered from the read cache, absorbed by
//              the write cache, a write that its caller waits for and makes, or given up by
//              FsysClose);
//            - on the thread that makes a pass (a poller's, a completion thread, a writer that
//              waits), with the file's lock held and, where the pass is over all files, the
//              list's as well (a start failed, or needed no transfer). Here it may use its own file
//              only.
//            In all three it may queue more work on its own file: this never waits, also where the
//            caller asked for a synchronous write; a full list is answered at once. It may close
//            its own file: FsysClose returns 1 at once and a thread of the engine's does the rest.
//            A callback that queues what is answered on its own stack is called again inside
//            itself: it must not do so without end. It must not throw, wait for other callbacks, or
//            shut the engine down. The references are good until it returns.
using CompletionCallback = void (*)(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data,
                                    RequestStatus status);

// CompletionInfo: one caller's share of a request: whom to tell, and about which bytes.
// Ownership  owned by a request's completion list; shares the context.
// Units      offset in the file; length and buffer position in bytes.
struct FSYS_EXPORT CompletionInfo {
  CompletionInfo(CompletionCallback callback, const Qv::Ptr<iObject>& context, uint64_t offset,
                 uint32_t length);

  // From a pool: one comes and goes with every transfer.
  static void* operator new(size_t bytes);
  static void operator delete(void* memory);

  CompletionCallback callback_;
  Qv::Ptr<iObject> context_;
  uint64_t offset_;
  uint32_t length_;
  uint32_t bufferPosition_ = 0;  // where this caller's bytes begin, from the request's offset
};
