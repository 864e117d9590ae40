#include "platform/fake/FakeFile.h"

#include <algorithm>
#include <cstring>

#include "platform/fake/FakeAsyncIo.h"
#include "platform/fake/FakeFileManager.h"
#include "platform/fake/FakePort.h"

namespace {

constexpr uint32_t kSucceeded = 1;
constexpr uint64_t kMaxBytes = INT64_MAX;

}  // namespace

FakeFile::FakeFile(FakeFileManager& files, const std::wstring& path,
                   std::shared_ptr<FakeContent> content, const Opening& how)
    : files_(files), path_(path), content_(std::move(content)), how_(how) {
  files_.countFile(1);
  if (how_.holdLock) ++(how_.readable ? content_->sharedLocks : content_->soleLocks);
}

FakeFile::~FakeFile() {
  close();
  files_.countFile(-1);
}

void FakeFile::close() {
  if (open_ && how_.holdLock) --(how_.readable ? content_->sharedLocks : content_->soleLocks);
  open_ = false;
}

uint32_t FakeFile::answer(uint32_t result) const {
  return result == kSucceeded ? result : files_.errors().fail(result);
}

uint32_t FakeFile::check(bool allowed, uint64_t offset, const void* buffer, uint32_t bytes) const {
  if (how_.probe) return eOsNotSupported;
  if (!open_ || (!buffer && bytes != 0)) return eOsInvalid;
  if (offset > kMaxBytes || bytes > kMaxBytes - offset) return eOsInvalid;
  return allowed ? kSucceeded : uint32_t{eOsAccessDenied};
}

uint32_t FakeFile::getInfo(FILE_INFO* info) const {
  if (uint32_t error = files_.faults().next(FaultPlan::eGetInfo).error) return answer(error);
  if (!open_ || !info) return answer(eOsInvalid);
  info->writePosition = content_->size();
  return kSucceeded;
}

uint32_t FakeFile::readBytes(bool atPosition, uint64_t offset, void* buffer, uint32_t bytes,
                             uint32_t& done) {
  done = 0;
  FaultPlan::Verdict verdict = files_.faults().next(FaultPlan::eRead);
  uint32_t result = verdict.error ? verdict.error : check(how_.readable, offset, buffer, bytes);
  if (buffer && bytes > 0) std::memset(buffer, 0, bytes);
  uint32_t asked = verdict.shortened ? std::min(bytes, verdict.bytes) : bytes;
  if (result == kSucceeded) done = content_->read(offset, buffer, asked);
  files_.record({atPosition ? FakeTransferRecord::eAtPosition : FakeTransferRecord::eAtOffset,
                 false, path_, offset, bytes, buffer, result, done});
  tellWatcher(false, offset, buffer, bytes, done, result);
  return answer(result);
}

uint32_t FakeFile::writeBytes(FakeTransferRecord::eWay way, uint64_t offset, const void* buffer,
                              uint32_t bytes, uint32_t& done) {
  done = 0;
  FaultPlan::Verdict verdict = files_.faults().next(FaultPlan::eWrite);
  uint32_t result = verdict.error ? verdict.error : check(how_.writable, offset, buffer, bytes);
  if (result == kSucceeded) {
    uint32_t asked = verdict.shortened ? std::min(bytes, verdict.bytes) : bytes;
    done = files_.room(path_, *content_, offset, asked);
    files_.writeContent(path_, content_, offset, buffer, done);
    if (done < asked) result = eOsNoSpace;
  }
  files_.record({way, true, path_, offset, bytes, buffer, result, done});
  tellWatcher(true, offset, buffer, bytes, done, result);
  return answer(result);
}

void FakeFile::tellWatcher(bool write, uint64_t offset, const void* buffer, uint32_t bytes,
                           uint32_t done, uint32_t result) const {
  FakeTransferWatcher* watcher = files_.asyncIo().watcher();
  if (!watcher) return;
  watcher->moved({0, nullptr, write, path_, offset, bytes,
                  static_cast<const unsigned char*>(buffer), done,
                  result == kSucceeded ? 0 : result});
}

uint32_t FakeFile::readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = readBytes(false, offset, buffer, bytes, moved);
  if (done) *done = moved;
  return result;
}

uint32_t FakeFile::writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = writeBytes(FakeTransferRecord::eAtOffset, offset, buffer, bytes, moved);
  if (done) *done = moved;
  return result;
}

uint32_t FakeFile::writeBehind(uint64_t offset, const void* buffer, uint32_t bytes,
                               uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = writeBytes(FakeTransferRecord::eBehind, offset, buffer, bytes, moved);
  if (done) *done = moved;
  return result;
}

uint32_t FakeFile::settle() {
  if (uint32_t error = files_.faults().next(FaultPlan::eSettle).error) return answer(error);
  return open_ ? kSucceeded : answer(eOsInvalid);
}

uint32_t FakeFile::flush() {
  if (uint32_t error = files_.faults().next(FaultPlan::eFlush).error) return answer(error);
  if (!open_) return answer(eOsInvalid);
  files_.note({FakeEffect::eFlush, path_, content_});
  return kSucceeded;
}

uint32_t FakeFile::read(void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = readBytes(true, position_, buffer, bytes, moved);
  position_ += moved;
  if (done) *done = moved;
  return result;
}

uint32_t FakeFile::write(const void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = writeBytes(FakeTransferRecord::eAtPosition, position_, buffer, bytes, moved);
  position_ += moved;
  if (done) *done = moved;
  return result;
}

uint32_t FakeFile::attach(CompletionPortHandler* handler) {
  if (uint32_t error = files_.faults().next(FaultPlan::eAttach).error) return answer(error);
  if (how_.probe) return answer(eOsNotSupported);
  if (!open_ || !handler) return answer(eOsInvalid);
  auto* port = dynamic_cast<FakePort*>(handler->port());
  if (!how_.async || !port) return answer(eOsNotSupported);
  if (port_) return answer(eOsInvalid);
  port_ = port->state();
  return kSucceeded;
}

uint32_t FakeFile::startRead(const Qv::Ptr<iAsyncContext>& context, const AsyncTransfer& transfer) {
  return start(false, context, transfer);
}

uint32_t FakeFile::startWrite(const Qv::Ptr<iAsyncContext>& context,
                              const AsyncTransfer& transfer) {
  return start(true, context, transfer);
}

uint32_t FakeFile::checkStart(bool write, const Qv::Ptr<iAsyncContext>& context,
                              const AsyncTransfer& transfer) const {
  if (!port_) return eOsNotSupported;
  if (!context || !transfer.request) return eOsInvalid;
  bool allowed = write ? how_.writable : how_.readable;
  uint32_t result = check(allowed, transfer.offset, transfer.buffer, transfer.bytes);
  return result == kSucceeded && !port_->alive ? uint32_t{eOsCancelled} : result;
}

uint32_t FakeFile::start(bool write, const Qv::Ptr<iAsyncContext>& context,
                         const AsyncTransfer& transfer) {
  FaultPlan::eCall call = write ? FaultPlan::eStartWrite : FaultPlan::eStartRead;
  uint32_t result = files_.faults().next(call).error;
  if (result == 0) result = checkStart(write, context, transfer);
  files_.record({FakeTransferRecord::eAsync, write, path_, transfer.offset, transfer.bytes,
                 transfer.buffer, result});
  if (result != kSucceeded) return answer(result);
  FakeTransfer pending;
  pending.write = write;
  pending.offset = transfer.offset;
  pending.bytes = transfer.bytes;
  pending.buffer = transfer.buffer;
  pending.request = transfer.request;
  pending.path = path_;
  pending.keep = transfer.keep;
  pending.context = context;
  pending.content = content_;
  pending.port = port_;
  files_.asyncIo().start(std::move(pending));
  return kSucceeded;
}
