#include "tools/fsys/ReadStream.h"

#include <algorithm>
#include <chrono>
#include <utility>

#include "platform/OS.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr auto kLook = std::chrono::milliseconds(50);  // between looks for an interruption
constexpr auto kDrain = std::chrono::seconds(10);      // longest wait for what is in flight
constexpr double kRoomWait_ms = 10000;                 // longest wait for room in the list
constexpr double kRoomLook_ms = 2;
constexpr uint32_t kListFull = 8;
// The engine keeps up to 40 finished reads of a file. More than this is cleared now and then.
constexpr uint64_t kMostKept_bytes = uint64_t{256} << 20;

}  // namespace

ReadStream::ReadStream(EngineFile& file, Ranges ranges, unsigned inFlight)
    : file_(file),
      ranges_(std::move(ranges)),
      inFlight_(std::max(inFlight, 1u)),
      bell_(new ArrivalBell) {}

ReadStream::~ReadStream() {
  auto deadline = std::chrono::steady_clock::now() + kDrain;
  std::unique_lock<std::mutex> held(bell_->lock);
  for (const Pending& transfer : pending_)
    bell_->rung.wait_until(held, deadline, [&transfer] { return transfer->done; });
}

ReadStream::Ranges ReadStream::wholeFile(uint64_t size, uint32_t block, uint64_t repeat) {
  return [size, block, repeat, offset = uint64_t{0}](ByteRange& range) mutable {
    if (offset == size) {
      if (size == 0 || repeat <= 1) return false;
      --repeat;
      offset = 0;
    }
    range.offset = offset;
    range.length = static_cast<uint32_t>(std::min<uint64_t>(block, size - offset));
    offset += range.length;
    return true;
  };
}

bool ReadStream::mayAsk(uint32_t length) {
  if (pending_.size() >= inFlight_) return false;
  if (kept_bytes_ + length <= kMostKept_bytes) return true;
  // What is in flight would be given up as well: first it has to arrive.
  if (!pending_.empty()) return false;
  file_->ClearMemoryRefs();
  kept_bytes_ = 0;
  return true;
}

void ReadStream::fill() {
  while (!ended_) {
    if (!haveRange_) {
      ended_ = !ranges_(range_);
      haveRange_ = !ended_;
    }
    if (!haveRange_ || !mayAsk(range_.length)) return;
    ask(range_);
    haveRange_ = false;
  }
}

void ReadStream::ask(const ByteRange& range) {
  Pending transfer(new PendingTransfer(bell_, range.offset, range.length));
  double deadline_ms = Qv::now() + kRoomWait_ms;
  for (;;) {
    Qv::Ptr<iObject> context = transfer;
    uint32_t result = file_->DirectRead(static_cast<long>(range.offset), range.length, false,
                                        &PendingTransfer::finished, context);
    if (result == 1) break;
    // The list is full: a finished read makes room with the next pass.
    if (Qv::now() > deadline_ms) throw transferError("reading", file_.name(), kListFull);
    Interrupt::wait(-1, kRoomLook_ms);
  }
  pending_.push_back(transfer);
  kept_bytes_ += range.length;
}

void ReadStream::waitFor(const Pending& transfer) const {
  std::unique_lock<std::mutex> held(bell_->lock);
  while (!transfer->done) {
    bell_->rung.wait_for(held, kLook);
    if (!transfer->done) Interrupt::check();
  }
}

bool ReadStream::isReady() const {
  if (pending_.empty()) return false;
  std::lock_guard<std::mutex> held(bell_->lock);
  return pending_.front()->done;
}

bool ReadStream::next(Block& block) {
  block.data.reset();
  Interrupt::check();
  fill();
  if (pending_.empty()) return false;
  Pending transfer = pending_.front();
  waitFor(transfer);
  pending_.pop_front();
  if (transfer->failed || !transfer->data) {
    throw transferError(text("reading %u bytes at %llu of", static_cast<unsigned>(transfer->length),
                             static_cast<unsigned long long>(transfer->offset)),
                        file_.name(), transfer->error);
  }
  block.range = {transfer->offset, transfer->length};
  block.data = transfer->data;
  transfer->data.reset();
  block.elapsed_ms = transfer->ended_ms - transfer->asked_ms;
  latency_.add(block.elapsed_ms);
  bytes_ += transfer->length;
  // Before the caller works on this block: the disk is kept busy meanwhile.
  fill();
  return true;
}
