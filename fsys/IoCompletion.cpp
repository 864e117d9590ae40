#include "fsys/IoCompletion.h"

#include <cwchar>

#include "fsys/DeliveryScope.h"
#include "fsys/DiskManager.h"
#include "fsys/EngineSettings.h"
#include "fsys/FileRequest.h"
#include "fsys/Fsys.h"
#include "fsys/FsysFile.h"
#include "fsys/ResultCodes.h"
#include "fsys/SpeedVerdict.h"
#include "platform/Check.h"
#include "platform/Log.h"
#include "platform/OS.h"

namespace {

constexpr size_t kDebugText = 200;  // characters
constexpr int kDebugColumn = 32;
constexpr int kReadDebugRow = 8;
constexpr int kWriteDebugRow = 6;

void show(int row, const wchar_t* format, double kilobytes) {
  wchar_t text[kDebugText + 1];
  if (std::swprintf(text, kDebugText + 1, format, kilobytes) >= 0)
    herc_putstr(kDebugColumn, row, text);
}

}  // namespace

IOCompletionReceiver::IOCompletionReceiver() {
  CompletionCommand command = OnIOCompletion(this).bind();
  readHandler_ = std::make_unique<CompletionPortHandler>("FsysReads", command, 3, 3, 3, 3);
  writeHandler_ = std::make_unique<CompletionPortHandler>("FsysWrites", command, 3, 3, 3, 3);
}

IOCompletionReceiver::~IOCompletionReceiver() {
  readHandler_.reset();
  writeHandler_.reset();
}

unsigned IOCompletionReceiver::executeCommand(OnIOCompletion&,
                                              CompletionPortHandlerCallbackContext& context) {
  finish(static_cast<FileRequest*>(context.context()), context.bytesProcessed(),
         context.succeeded());
  return 1;
}

void IOCompletionReceiver::finish(FileRequest* request, uint32_t bytes, bool succeeded) {
  if (!request) {
    (void)FSYS_CHECK(false, "fsys/IoCompletion");
    return;
  }
  FsysFile* file = request->file_;
  FilePin pin(file);
  // Where a transfer ends no lock is held: on a completion thread, or on that of who made it.
  bool takesKicks = request->inFlight_;
  bool passWanted = succeeded
                        ? finishSucceeded(request, bytes, takesKicks)
                        : finishFailed(request, OS()->getErrors()->getLastError(), takesKicks);
  bool reads = request->is_read_;
  request->endTransfer();
  if (passWanted) file->StartRequests(reads ? file->readRequests_ : file->writeRequests_);
}

bool IOCompletionReceiver::finishFailed(FileRequest* request, uint32_t error, bool takesKicks) {
  bool passWanted;
  {
    DeliveryScope scope(request, request->ByteCount_, takesKicks);
    request->NotifyError(error, 0);
    passWanted = scope.tookKick();
  }
  if (request->unlisted_) {
    // Nobody is told and no pass takes it off: the error must be seen all the same.
    OsAtomics::store(FsysError, error);
    request->file_->countOutstanding(request->is_read_, -int64_t{request->ByteCount_});
    request->file_->CheckOutstandingWrites();
  }
  request->Status_.exchange(FileRequest::FAILED);
  return passWanted;
}

bool IOCompletionReceiver::finishSucceeded(FileRequest* request, uint32_t bytes, bool takesKicks) {
  request->bytesDone_ = bytes;
  request->setStatus(FileRequest::SUCCEEDED);
  judgeVolume(request);
  bool passWanted;
  {
    DeliveryScope scope(request, request->ByteCount_, takesKicks);
    request->doCallbacks();
    passWanted = scope.tookKick();
  }
  takeOff(request);
  request->Status_.exchange(FileRequest::COMPLETED);
  return passWanted;
}

// The request's bytes are outstanding no more; a written buffer is not kept.
void IOCompletionReceiver::takeOff(FileRequest* request) {
  FsysFile* file = request->file_;
  if (request->is_read_) {
    if (EngineSettings::ShowReadBuffDebug)
      show(kReadDebugRow, L"Rbytes in Fsys: %.1fKbytes ", file->GetReadBytesOutstanding() / 1000.0);
    file->countOutstanding(true, -int64_t{request->ByteCount_});
    return;
  }
  if (EngineSettings::ShowWriteBuffDebug)
    show(kWriteDebugRow, L"Wbytes in Fsys: %.1fKbytes ",
         static_cast<float>(file->GetWriteBytesOutstanding()) / 1000.0f);
  file->countOutstanding(false, -int64_t{request->ByteCount_});
  request->buffer_.reset();
  request->mergedHolders_.clear();
  file->CheckOutstandingWrites();
}

// Writes the verdict on the volume; a write that is too slow is counted as a failure too.
void IOCompletionReceiver::judgeVolume(FileRequest* request) {
  double rate = SpeedVerdict::rate(request->bytesDone_, request->startTime_ms_, Qv::now());
  Qv::Ptr<MediaDrive> volume = DiskManager::getVolume(request->file_->GetName());
  if (!volume) return;
  bool tooSlow = false;
  if (request->is_read_) {
    tooSlow = SpeedVerdict::isTooSlow(request->bytesDone_, rate, EngineSettings::MinNetDiskRate,
                                      request->file_->GetReadBytesOutstanding(),
                                      EngineSettings::MaxNetReadQueue);
  } else if (OsAtomics::load(GlobalWriteSpeedWarningFlag)) {
    tooSlow = SpeedVerdict::isTooSlow(request->bytesDone_, rate, EngineSettings::MinNetDiskRate,
                                      request->file_->GetWriteBytesOutstanding(),
                                      EngineSettings::MaxNetWriteQueue);
    if (tooSlow) {
      request->setStatus(FileRequest::TOO_SLOW);
      OsAtomics::store(FsysError, uint32_t{eResultTooSlow});
    }
  }
  volume->setTooSlow(tooSlow);
}
