#pragma once

#include "platform/OsAsyncIo.h"
#include "platform/OsFiles.h"
#include "platform/OsThreads.h"

// ServedTransfer: a transfer of a file that has no asynchronous transfers of its own, done on a
// platform thread and finished like any other.
// Story      Made as the request starts, and sets its link. It runs once; or it goes unrun with its
//            queue, and then ends the request's transfer untold. A request that was cut off in the
//            meantime is told nothing.
// Ownership  shares the file, the buffer and the request's context.
class ServedTransfer : public iTask {
public:
  ServedTransfer(const Qv::Ptr<iFile>& file, const Qv::Ptr<iAsyncContext>& context,
                 const AsyncTransfer& transfer, bool write);
  ~ServedTransfer() override;
  void run() override;

private:
  Qv::Ptr<iFile> file_;
  Qv::Ptr<iAsyncContext> context_;
  AsyncTransfer transfer_;
  bool write_;
};
