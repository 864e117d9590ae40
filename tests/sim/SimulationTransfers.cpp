// What becomes of the transfers of a simulation.

#include <algorithm>

#include "fsys/SpeedVerdict.h"
#include "tests/FileRequestPeer.h"
#include "tests/sim/Simulation.h"

namespace {

constexpr uint32_t kLongestDelay_ms = 3000;

// Two merge up to the coalesce length, and across a gap; or one holds the other.
uint32_t longestOf(const FileRequest& request, uint32_t coalesceLength) {
  uint32_t longest = coalesceLength + FileRequest::CoalesceGap_;
  for (const CompletionInfo* entry : FileRequestPeer::entries(request))
    longest = std::max(longest, entry->length_);
  return longest;
}

}  // namespace

void Simulation::started(const FakeTransfer& transfer) {
  const auto& request = *static_cast<FileRequest*>(transfer.request);
  const FsysFile* file = FileRequestPeer::file(request);
  if (transfer.write && !FileRequestPeer::isSynchronous(request) &&
      FileRequestPeer::entries(request).size() > 1)
    tally_.count(SimTally::eMergedWrites);
  Handle owner;
  for (const Handle& handle : handles_)
    if (handle->isAlive() && handle->file == file) owner = handle;
  owners_.push_back(owner);
  startTimes_ms_.push_back(os_->clock().now_ms());
  trace_.note("t%llu starts: %s of f%u, %u bytes at %llu",
              static_cast<unsigned long long>(transfer.number), transfer.write ? "write" : "read",
              owner ? owner->number : 0, transfer.bytes,
              static_cast<unsigned long long>(transfer.offset));
  if (!owner) return broken("a transfer starts for no open file");
  if (FileRequestPeer::byteCount(request) > longestOf(request, owner->longestMerge))
    broken("a request is longer than the file lets it become");
  uint32_t sector = owner->sectorSize;
  if (!transfer.write && (transfer.offset % sector != 0 || transfer.bytes % sector != 0))
    broken("a read starts that is not whole sectors");
}

// Who waits for it gets this file's; there is one writer at a time.
Simulation::Handle Simulation::ownerOf(const FakeMove& move) const {
  if (move.transfer != 0) return owners_[move.transfer - 1];
  for (auto handle = handles_.rbegin(); handle != handles_.rend(); ++handle)
    if ((*handle)->isAlive() && (*handle)->writing && (*handle)->place->path.view() == move.path)
      return *handle;
  return nullptr;
}

void Simulation::moved(const FakeMove& move) {
  ++moment_;
  trace_.note("%s%llu: %u of %u bytes at %llu, error %u", move.write ? "w" : "r",
              static_cast<unsigned long long>(move.transfer), move.done, move.bytes,
              static_cast<unsigned long long>(move.offset), move.error);
  if (move.error == eOsNoSpace) tally_.count(SimTally::eFullDisk);
  if (move.error != 0) tally_.count(SimTally::eFailedTransfers);
  if (move.transfer != 0 && !move.request) tally_.count(SimTally::eLateTransfers);
  if (move.write) {
    Handle owner = ownerOf(move);
    if (!owner) return broken("a write moves bytes of no file");
    moveBytes(owner.get(), move);
    noteMove(move, owner);
  } else if (move.transfer != 0) {
    noteMove(move, ownerOf(move));
  } else {
    // A task reads: for one of the files that are open on this path.
    for (const Handle& handle : handles_)
      if (handle->isAlive() && !handle->writing && handle->place->path.view() == move.path)
        noteMove(move, handle);
  }
}

// The disk gets what belongs there, whatever was in the buffer.
void Simulation::moveBytes(SimHandle* handle, const FakeMove& move) {
  std::string why =
      handle->stream.whyNotMoved(move.offset, move.buffer, move.bytes, move.done, move.error != 0);
  if (!why.empty()) return broken("f" + std::to_string(handle->number) + ": " + why);
  if (move.done == 0) return;
  std::vector<unsigned char>& disk = handle->place->disk;
  disk.resize(std::max<size_t>(disk.size(), move.offset + move.done));
  std::copy_n(handle->stream.at(move.offset), move.done,
              disk.begin() + static_cast<std::ptrdiff_t>(move.offset));
}

void Simulation::noteMove(const FakeMove& move, const Handle& handle) {
  SimMove seen{move.write, move.offset, move.bytes,
               move.done,  move.error,  move.offset,
               moment_,    false,       move.transfer != 0 || !handle->place->hasVolume,
               false,      {}};
  if (move.request) {
    auto& request = *static_cast<FileRequest*>(move.request);
    seen.requestOffset = FileRequestPeer::offset(request);
    if (handle->place->hasVolume && move.write && GlobalWriteSpeedWarningFlag) {
      double start_ms = startTimes_ms_[move.transfer - 1];
      seen.tooSlow = SpeedVerdict::isTooSlow(
          move.done, SpeedVerdict::rate(move.done, start_ms, os_->clock().now_ms()),
          EngineSettings::MinNetDiskRate, handle->file->GetWriteBytesOutstanding(),
          EngineSettings::MaxNetWriteQueue);
    }
  } else if (move.transfer == 0 && !move.write) {
    seen.requestOffset += handle->sectorSize;
  }
  if (!move.write && move.error == 0) {
    const std::vector<unsigned char>& disk = handle->place->disk;
    seen.seen.resize(move.bytes);
    if (move.done > 0)
      std::copy_n(disk.begin() + static_cast<std::ptrdiff_t>(move.offset), move.done,
                  seen.seen.begin());
  }
  handle->moves.push_back(std::move(seen));
}

// While somebody waits without limit, no transfer is lost.
bool Simulation::endOne() {
  const auto& pending = os_->asyncIo().pending();
  if (pending.empty() || (mustEnd_ == 0 && !dice_.chance(weather_.eagerness))) return false;
  std::vector<size_t> able;
  for (size_t i = 0; i < pending.size(); ++i)
    if (!pending[i].stalled) able.push_back(i);
  if (able.empty() && mustEnd_ == 0) return false;
  size_t index = able.empty() ? 0 : able[dice_.below(static_cast<uint32_t>(able.size()))];
  end(index, mustEnd_ == 0);
  return true;
}

void Simulation::endAny() {
  size_t count = os_->asyncIo().pending().size();
  if (count > 0) end(dice_.below(static_cast<uint32_t>(count)), true);
}

void Simulation::end(size_t index, bool mayLose) {
  FakeAsyncIo& transfers = os_->asyncIo();
  const FakeTransfer& transfer = transfers.pending()[index];
  auto number = static_cast<unsigned long long>(transfer.number);
  uint32_t how = calm_ ? 0 : dice_.below(faulty_ ? 20 : 12);
  if (how >= 10 && how < 12) {
    uint32_t ms = dice_.between(1, kLongestDelay_ms);
    trace_.note("t%llu takes %u ms more", number, ms);
    os_->clock().step(ms);
    slowed_ms_ += ms;
  }
  SimTrace::Inside inside(trace_);
  if (how >= 17 && mayLose) {
    trace_.note("t%llu is lost", number);
    tally_.count(SimTally::eLostTransfers);
    return transfers.stall(index);
  }
  if (how >= 14 && how < 17) {
    transfers.fail(index, dice_.oneOf({uint32_t{eOsIoError}, uint32_t{eOsAccessDenied}}),
                   dice_.below(transfer.bytes + 1));
    return;
  }
  if (how >= 12 && how < 14 && (!transfer.write || dice_.chance(30))) {
    tally_.count(SimTally::eShortReads, !transfer.write);
    transfers.finishShort(index, dice_.below(transfer.bytes));
    return;
  }
  transfers.finish(index);
}
