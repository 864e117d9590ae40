#include "fsys/ServedTransfer.h"

#include "fsys/FileRequest.h"
#include "fsys/IoCompletion.h"
#include "fsys/ResultCodes.h"
#include "platform/OS.h"

ServedTransfer::ServedTransfer(const Qv::Ptr<iFile>& file, const Qv::Ptr<iAsyncContext>& context,
                               const AsyncTransfer& transfer, eWay way)
    : file_(file), context_(context), transfer_(transfer), way_(way) {
  context_->setLink(transfer_.request);
}

ServedTransfer::~ServedTransfer() {
  if (void* request = context_->takeLink()) static_cast<FileRequest*>(request)->endTransfer();
}

uint32_t ServedTransfer::transfer(uint32_t& done) {
  const AsyncTransfer& what = transfer_;
  switch (way_) {
    case eRead:
      return file_->readAt(what.offset, what.buffer, what.bytes, &done);
    case eWrite:
      return file_->writeAt(what.offset, what.buffer, what.bytes, &done);
    case eWriteBehind:
      break;
  }
  return file_->writeBehind(what.offset, what.buffer, what.bytes, &done);
}

void ServedTransfer::run() {
  // Given up while it waited: its callers know, and others may be writing there by now.
  if (!context_->isLinked()) return;
  uint32_t done = 0;
  uint32_t result = transfer(done);
  void* request = context_->takeLink();
  if (!request) return;
  if (result != eResultOk) OS()->getErrors()->setLastError(result);
  IOCompletionReceiver::finish(static_cast<FileRequest*>(request), done, result == eResultOk);
}
