#include "FsysReader.h"

#include <algorithm>
#include <utility>

#include "fsys/MaterialLink.h"
#include "platform/DriveErrand.h"

namespace {

constexpr uint64_t kBlock_bytes = 256 << 10;
constexpr uint64_t kAhead = 4;       // blocks that are asked for behind the one that is wanted
constexpr uint32_t kLook_ms = 50;    // between looks for an interruption
constexpr uint32_t kForReading = 1;  // of FsysOpen's flags

// FsysGetLastError is the process's: the engine's own small codes mean that there is none of ours.
uint32_t osErrorOf(uint32_t error) { return error > eOsErrorBase ? error : uint32_t{eOsIoError}; }

}  // namespace

// As much as a block is merged: each is a request of its own.
FsysReader::FsysReader(const LightweightString<wchar_t>& path, IsInterrupted isInterrupted)
    : isInterrupted_(std::move(isInterrupted)), arrival_(OS()->getThreads()->createEvent(0, 0, 0)) {
  if (!arrival_)
    error_ = eOsNoMemory;
  else if (FsysOpen(&file_, path, kBlock_bytes, kForReading, nullptr) != 1)
    error_ = osErrorOf(FsysGetLastError());
  else
    learnSize(path);
}

FsysReader::~FsysReader() {
  if (file_) FsysClose(file_, nullptr);
}

void FsysReader::learnSize(const LightweightString<wchar_t>& path) {
  FILE_INFO info;
  if (file_->LowLevelGetInfo(&info) == 1) size_ = info.writePosition;
  MaterialLink::getLinkedFilename(path, path_);
}

// Not of the open file: the engine would wait for the answer as long as the drive is silent.
uint64_t FsysReader::size() {
  const auto ask = [path = path_, known = size_] {
    uint64_t bytes = 0;
    return OS()->getFileManager()->getFileSize(path, bytes) ? bytes : known;
  };
  size_ = askDrive(path_, ask).value_or(size_);
  return size_;
}

FsysReader::Outcome FsysReader::read(uint64_t position, Slice& slice) {
  slice = {};
  if (isInterrupted_()) return eInterrupted;
  if (position >= size_ && position >= size()) return eEnd;
  letGoOfOthers(position);
  const uint64_t index = position / kBlock_bytes;
  const Outcome outcome = waitFor(index);
  if (outcome != eBytes) return outcome;
  const Block block = window_[index];
  const Outcome taken = take(block, position, slice);
  // What was asked for ahead may have failed as well; next time all is asked for anew. So is what
  // ended where the file may have grown since.
  if (taken != eBytes) window_.clear();
  return taken;
}

void FsysReader::letGoOfOthers(uint64_t position) {
  const uint64_t index = position / kBlock_bytes;
  for (auto each = window_.begin(); each != window_.end();) {
    const bool isWanted = each->first >= index && each->first <= index + kAhead;
    // The last block of a file that has grown since it was asked for.
    const bool isTooShort = each->first == index && position >= each->second->end();
    each = isWanted && !isTooShort ? std::next(each) : window_.erase(each);
  }
}

// Whether it is asked for, now or before; false when the engine takes no more at this moment. Its
// callback may run in here, when the engine has these bytes.
bool FsysReader::ask(uint64_t index) {
  if (window_.count(index) != 0) return true;
  const uint64_t offset = index * kBlock_bytes;
  const Block block(new ReadBlock(arrival_, offset,
                                  static_cast<uint32_t>(std::min(kBlock_bytes, size_ - offset))));
  Qv::Ptr<iObject> context(block);
  if (file_->DirectRead(static_cast<long>(offset), block->length, false, &ReadBlock::arrived,
                        context) != 1)
    return false;
  ++blocksAsked_;
  window_[index] = block;
  return true;
}

// What is let go of still counts for the engine until it arrives, so that after many jumps on a
// slow drive its list may be full: whatever arrives makes room.
FsysReader::Outcome FsysReader::waitFor(uint64_t index) {
  while (!ask(index)) {
    if (isInterrupted_()) return eInterrupted;
    arrival_->wait(kLook_ms);
  }
  for (uint64_t next = index + 1; next <= index + kAhead && next * kBlock_bytes < size_; ++next)
    if (!ask(next)) break;
  while (!window_[index]->isDone()) {
    if (isInterrupted_()) return eInterrupted;
    arrival_->wait(kLook_ms);
  }
  return eBytes;
}

// A read that reaches over the end of the file succeeds, with zeros behind the end. A file that was
// shortened after its size was asked for is found out by asking again, once the block is there.
FsysReader::Outcome FsysReader::take(const Block& block, uint64_t position, Slice& slice) {
  if (block->used == 0) {
    const uint64_t end = std::min(size(), block->end());
    if (position >= end) return eEnd;
    if (!block->data) {
      error_ = osErrorOf(block->error);
      return eFailed;
    }
    block->used = static_cast<uint32_t>(end - block->offset);
  }
  const auto skipped = static_cast<uint32_t>(position - block->offset);
  slice.holder = block->data;
  slice.bytes = block->data->getBuffer() + skipped;
  slice.length = block->used - skipped;
  return eBytes;
}
