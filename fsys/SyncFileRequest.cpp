#include "fsys/SyncFileRequest.h"

SyncFileRequest::SyncFileRequest(FileRequest* request, const Qv::Ptr<iThreadEvent>& waiter)
    : request_(request), waiter_(waiter) {}

SyncFileRequest::~SyncFileRequest() = default;

void SyncFileRequest::SynchWaiter(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>&, RequestStatus) {
  Qv::Ptr<SyncFileRequest> waiting = Qv::dynamicCast<SyncFileRequest>(context);
  if (waiting && waiting->waiter_) waiting->waiter_->signal();
}
