#include "tests/fault/FaultFile.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr uint32_t kSucceeded = 1;

}  // namespace

uint64_t FaultFile::getSize() const {
  uint32_t error = next(FaultCall::eGetSize).error;
  if (error == 0) return inner_->getSize();
  failFault(error);
  return 0;
}

uint32_t FaultFile::getInfo(FILE_INFO* info) const {
  uint32_t error = next(FaultCall::eGetInfo).error;
  return error == 0 ? inner_->getInfo(info) : failFault(error);
}

// What a read did not reach is zero-filled, also when it failed.
template <typename Transfer>
uint32_t FaultFile::readWith(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done,
                             const Transfer& transfer) {
  FaultPoints::Verdict verdict = next(FaultCall::eRead, offset, bytes);
  if (verdict.goesWell()) return transfer(bytes, done);
  uint32_t moved = 0;
  uint32_t most = std::min(verdict.cutShort.value_or(0), bytes);
  uint32_t result = most > 0 ? transfer(most, &moved) : kSucceeded;
  std::memset(static_cast<unsigned char*>(buffer) + moved, 0, bytes - moved);
  if (done) *done = moved;
  return result == kSucceeded && verdict.error != 0 ? failFault(verdict.error) : result;
}

template <typename Transfer>
uint32_t FaultFile::writeWith(uint64_t offset, uint32_t bytes, uint32_t* done,
                              const Transfer& transfer) {
  FaultPoints::Verdict verdict = next(FaultCall::eWrite, offset, bytes);
  if (verdict.goesWell()) return transfer(bytes, done);
  uint32_t moved = 0;
  uint32_t most = std::min(verdict.cutShort.value_or(0), bytes);
  uint32_t result = most > 0 ? transfer(most, &moved) : kSucceeded;
  if (done) *done = moved;
  return result == kSucceeded ? failFault(verdict.error) : result;
}

uint32_t FaultFile::readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) {
  return readWith(offset, buffer, bytes, done, [&](uint32_t most, uint32_t* moved) {
    return inner_->readAt(offset, buffer, most, moved);
  });
}

uint32_t FaultFile::writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) {
  return writeWith(offset, bytes, done, [&](uint32_t most, uint32_t* moved) {
    return inner_->writeAt(offset, buffer, most, moved);
  });
}

uint32_t FaultFile::writeBehind(uint64_t offset, const void* buffer, uint32_t bytes,
                                uint32_t* done) {
  return writeWith(offset, bytes, done, [&](uint32_t most, uint32_t* moved) {
    return inner_->writeBehind(offset, buffer, most, moved);
  });
}

// It settles all the same: an error says that not all of it went well.
uint32_t FaultFile::settle() {
  uint32_t result = inner_->settle();
  uint32_t error = next(FaultCall::eSettle).error;
  return error == 0 ? result : failFault(error);
}

uint32_t FaultFile::flush() {
  uint32_t error = next(FaultCall::eFlush).error;
  return error == 0 ? inner_->flush() : failFault(error);
}

uint32_t FaultFile::read(void* buffer, uint32_t bytes, uint32_t* done) {
  return readWith(0, buffer, bytes, done, [&](uint32_t most, uint32_t* moved) {
    return inner_->read(buffer, most, moved);
  });
}

uint32_t FaultFile::write(const void* buffer, uint32_t bytes, uint32_t* done) {
  return writeWith(0, bytes, done, [&](uint32_t most, uint32_t* moved) {
    return inner_->write(buffer, most, moved);
  });
}

// The handler holds the port of the system below: nothing stands between that and its file.
uint32_t FaultFile::attach(CompletionPortHandler* handler) {
  uint32_t error = next(FaultCall::eAttach).error;
  return error == 0 ? inner_->attach(handler) : failFault(error);
}

uint32_t FaultFile::startRead(const Qv::Ptr<iAsyncContext>& context,
                              const AsyncTransfer& transfer) {
  if (uint32_t error = next(FaultCall::eStartRead, transfer.offset, transfer.bytes).error)
    return failFault(error);
  FaultPoints::Verdict verdict = next(FaultCall::eFinishRead, transfer.offset, transfer.bytes);
  state_->note(transfer.request, {verdict, false, transfer.buffer, transfer.bytes});
  return inner_->startRead(context, transfer);
}

// A write that is cut short moves so much and no more. One that just fails, or is cut to nothing,
// may have moved all: a transfer of no bytes is none.
uint32_t FaultFile::startWrite(const Qv::Ptr<iAsyncContext>& context,
                               const AsyncTransfer& transfer) {
  if (uint32_t error = next(FaultCall::eStartWrite, transfer.offset, transfer.bytes).error)
    return failFault(error);
  FaultPoints::Verdict verdict = next(FaultCall::eFinishWrite, transfer.offset, transfer.bytes);
  state_->note(transfer.request, {verdict, true, transfer.buffer, transfer.bytes});
  AsyncTransfer made = transfer;
  uint32_t most = verdict.cutShort.value_or(0);
  if (most > 0) made.bytes = std::min(most, transfer.bytes);
  return inner_->startWrite(context, made);
}
