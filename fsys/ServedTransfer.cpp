#include "fsys/ServedTransfer.h"

#include "fsys/FileRequest.h"
#include "fsys/IoCompletion.h"
#include "fsys/ResultCodes.h"
#include "platform/OS.h"

ServedTransfer::ServedTransfer(const Qv::Ptr<iFile>& file, const Qv::Ptr<iAsyncContext>& context,
                               const AsyncTransfer& transfer, bool write)
    : file_(file), context_(context), transfer_(transfer), write_(write) {
  context_->setLink(transfer_.request);
}

ServedTransfer::~ServedTransfer() {
  if (void* request = context_->takeLink()) static_cast<FileRequest*>(request)->endTransfer();
}

void ServedTransfer::run() {
  uint32_t done = 0;
  uint32_t result = write_
                        ? file_->writeAt(transfer_.offset, transfer_.buffer, transfer_.bytes, &done)
                        : file_->readAt(transfer_.offset, transfer_.buffer, transfer_.bytes, &done);
  void* request = context_->takeLink();
  if (!request) return;
  if (result != eResultOk) OS()->getErrors()->setLastError(result);
  IOCompletionReceiver::finish(static_cast<FileRequest*>(request), done, result == eResultOk);
}
