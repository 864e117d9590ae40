#pragma once

#include "fsys/CompletionInfo.h"
#include "platform/OsThreads.h"

class FileRequest;

// SyncFileRequest: the context of a synchronous request's own completion entry: it wakes the
// waiter.
// Story      A synchronous request makes one for itself. When the request is merged into another,
//            its entry is copied there, and this object outlives the request: so it shares the
//            event, and the request takes itself away when it goes.
// Threads    SynchWaiter on any thread that runs callbacks.
class FSYS_EXPORT SyncFileRequest : public iObject {
public:
  SyncFileRequest(FileRequest* request, const Qv::Ptr<iThreadEvent>& waiter);
  ~SyncFileRequest() override;

  // A completion callback: signals the waiter of the SyncFileRequest that is its context.
  static void SynchWaiter(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data,
                          RequestStatus status);
  // For the request's destructor.
  void forgetRequest() { request_ = nullptr; }

private:
  FileRequest* request_;
  Qv::Ptr<iThreadEvent> waiter_;
};
