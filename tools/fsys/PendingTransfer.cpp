#include "tools/fsys/PendingTransfer.h"

#include "fsys/Fsys.h"
#include "platform/Clocks.h"

PendingTransfer::PendingTransfer(const Qv::Ptr<ArrivalBell>& bell, uint64_t where, uint32_t bytes)
    : offset(where), length(bytes), asked_ms(Qv::now()), bell_(bell) {}

void PendingTransfer::finished(Qv::Ptr<iObject>& context, Qv::Ptr<iMemHolder>& data,
                               RequestStatus status) {
  auto* self = static_cast<PendingTransfer*>(context.get());
  // The engine's last error is only this transfer's while its callback runs.
  uint32_t error = status == eRequestSucceeded ? 0 : FsysGetLastError();
  Qv::Ptr<ArrivalBell> bell = self->bell_;
  {
    std::lock_guard<std::mutex> held(bell->lock);
    self->done = true;
    self->failed = status != eRequestSucceeded;
    self->error = error;
    self->ended_ms = Qv::now();
    self->data = data;
  }
  bell->rung.notify_all();
}
