#include "tools/fsys/WriteStream.h"

#include <algorithm>
#include <chrono>
#include <new>

#include "fsys/MemBlock.h"
#include "fsys/MemRef.h"
#include "platform/OS.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr auto kLook = std::chrono::milliseconds(50);  // between looks for an interruption
constexpr auto kDrain = std::chrono::seconds(10);      // longest wait for what is in flight

}  // namespace

WriteStream::WriteStream(EngineFile& file, unsigned inFlight)
    : file_(file),
      inFlight_(std::max(inFlight, 1u)),
      bell_(new ArrivalBell),
      writtenEnd_(file->GetPosition()),
      end_(writtenEnd_) {}

WriteStream::~WriteStream() { drain(); }

Qv::Ptr<iMemHolder> WriteStream::newBuffer(uint32_t bytes) {
  Qv::Ptr<iMemHolder> buffer(new MemBlock(bytes));
  if (!buffer->getBuffer())
    throw ToolError(ExitCode::eResources, "", "", "no memory for a block of " + sizeText(bytes));
  return buffer;
}

// Takes the transfers that have ended off the front; those behind a failure count for nothing. A
// success shows that what was sent with it is written, which a block that is gathered is not.
void WriteStream::collectLocked() {
  while (!pending_.empty() && pending_.front().transfer->done) {
    const PendingTransfer& transfer = *pending_.front().transfer;
    if (transfer.failed && !failed_) {
      failed_ = true;
      error_ = transfer.error;
      failedOffset_ = transfer.offset;
    }
    if (!failed_) writtenEnd_ = pending_.front().sentEnd;
    latency_.add(transfer.ended_ms - transfer.asked_ms);
    pending_.pop_front();
  }
}

void WriteStream::throwIfFailed() const {
  if (!failed_) return;
  throw transferError(text("writing at %llu of", static_cast<unsigned long long>(failedOffset_)),
                      file_.name(), error_);
}

void WriteStream::waitForRoom() {
  {
    std::unique_lock<std::mutex> held(bell_->lock);
    collectLocked();
    while (pending_.size() >= inFlight_) {
      bell_->rung.wait_for(held, kLook);
      collectLocked();
      if (Interrupt::requested() != 0) break;
    }
  }
  throwIfFailed();
  Interrupt::check();
}

void WriteStream::write(const Qv::Ptr<iMemHolder>& data, uint32_t length) {
  waitForRoom();
  Qv::Ptr<PendingTransfer> transfer(new PendingTransfer(bell_, end_, length));
  Qv::Ptr<iMemHolder> slice(new MemRef(data, 0, length));
  Qv::Ptr<iObject> context = transfer;
  // Noted before it is asked for: what is in flight is waited for, also when memory runs out.
  pending_.push_back({transfer, writtenEnd_});
  uint32_t result = directWrite(slice, context);
  if (result != 1) {
    pending_.pop_back();
    failed_ = true;
    failedOffset_ = end_;
    uint32_t last = FsysGetLastError();
    error_ = result >= eOsErrorBase || last < eOsErrorBase ? result : last;
    throwIfFailed();
  }
  end_ += length;
  bytes_ += length;
  pending_.back().sentEnd = file_->GetPosition();
}

uint32_t WriteStream::directWrite(Qv::Ptr<iMemHolder>& data, Qv::Ptr<iObject>& context) try {
  return file_->DirectWrite(data, false, &PendingTransfer::finished, context, false);
} catch (const std::bad_alloc&) {
  return eOsNoMemory;
}

void WriteStream::finish() {
  {
    std::unique_lock<std::mutex> held(bell_->lock);
    collectLocked();
    while (!pending_.empty()) {
      bell_->rung.wait_for(held, kLook);
      collectLocked();
      if (Interrupt::requested() != 0) break;
    }
  }
  throwIfFailed();
  Interrupt::check();
}

void WriteStream::settle() {
  finish();
  uint32_t result = sendGathered();
  if (result == 1) return;
  throw transferError(text("writing at %llu of", static_cast<unsigned long long>(writtenEnd_)),
                      file_.name(), result);
}

// A write of nothing sends what is gathered first, and says how that went.
uint32_t WriteStream::sendGathered() {
  uint32_t result = eOsNoMemory;
  try {
    result = file_->Write(nullptr, 0);
  } catch (const std::bad_alloc&) {
    return result;
  }
  if (result == 1) writtenEnd_ = end_;
  return result;
}

void WriteStream::drain() noexcept {
  auto deadline = std::chrono::steady_clock::now() + kDrain;
  {
    std::unique_lock<std::mutex> held(bell_->lock);
    bell_->rung.wait_until(held, deadline, [this] {
      collectLocked();
      return pending_.empty();
    });
  }
  // Behind a failure nothing counts, sent or not.
  if (file_.isOpen() && !failed_ && pending_.empty()) sendGathered();
}
