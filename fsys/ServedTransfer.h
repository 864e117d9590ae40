#pragma once

#include "platform/OsAsyncIo.h"
#include "platform/OsFiles.h"
#include "platform/OsThreads.h"

// ServedTransfer: a transfer that a thread makes from its first byte to its last, finished like any
// other: of a file that has no asynchronous transfers of its own, on a platform thread; or of a
// write for which its caller waits, on the caller's.
// Story      Made as the request starts, and sets its link. It runs once; or it goes unrun with its
//            queue, and then ends the request's transfer untold. A request that was cut off in the
//            meantime is told nothing, and moves nothing if the task had not begun.
// Ownership  shares the file, the buffer and the request's context.
class ServedTransfer : public iTask {
public:
  enum eWay { eRead, eWrite, eWriteBehind };

  ServedTransfer(const Qv::Ptr<iFile>& file, const Qv::Ptr<iAsyncContext>& context,
                 const AsyncTransfer& transfer, eWay way);
  ~ServedTransfer() override;
  void run() override;

private:
  uint32_t transfer(uint32_t& done);

  Qv::Ptr<iFile> file_;
  Qv::Ptr<iAsyncContext> context_;
  AsyncTransfer transfer_;
  eWay way_;
};
