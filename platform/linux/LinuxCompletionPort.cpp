#include "platform/linux/LinuxCompletionPort.h"

constinit Mutex LinuxCompletionPort::lock_;
constinit LinuxCompletionPort* LinuxCompletionPort::latest_ = nullptr;

LinuxCompletionPort::~LinuxCompletionPort() {
  if (!transfers_) return;
  transfers_->close();
  MutexLock lock(lock_);
  LinuxCompletionPort** place = &latest_;
  while (*place != this) place = &(*place)->earlier_;
  *place = earlier_;
}

void LinuxCompletionPort::give(const Qv::Ptr<TransferPort>& transfers,
                               const iAsyncIo::Description& description) {
  transfers_ = transfers;
  description_ = description;
  MutexLock lock(lock_);
  earlier_ = latest_;
  latest_ = this;
}

bool LinuxCompletionPort::describeExisting(iAsyncIo::Description& answer) {
  MutexLock lock(lock_);
  const LinuxCompletionPort* port = latest_;
  while (port && port->description_.ring) port = port->earlier_;
  if (!port) port = latest_;
  if (port) answer = port->description_;
  return port != nullptr;
}
