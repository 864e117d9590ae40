#include "platform/common/MemFile.h"

#include <algorithm>
#include <cstring>
#include <mutex>
#include <new>

#include "platform/OS.h"

namespace {

constexpr uint32_t kSucceeded = 1;

uint32_t answer(uint32_t result) {
  if (result != kSucceeded) OS()->getErrors()->setLastError(result);
  return result;
}

// How much of `bytes` lies in the block of `offset`.
uint32_t withinBlock(uint64_t offset, uint32_t bytes) {
  auto room =
      static_cast<uint32_t>(MemFileContent::kBlockBytes - offset % MemFileContent::kBlockBytes);
  return std::min(room, bytes);
}

}  // namespace

uint64_t MemFileContent::size() const {
  std::shared_lock lock(lock_);
  return size_;
}

uint32_t MemFileContent::read(uint64_t offset, unsigned char* buffer, uint32_t bytes) const {
  std::shared_lock lock(lock_);
  uint32_t there = 0;
  if (offset < size_) there = static_cast<uint32_t>(std::min<uint64_t>(bytes, size_ - offset));
  for (uint32_t at = 0; at < there;) {
    uint32_t piece = withinBlock(offset + at, there - at);
    auto block = blocks_.find((offset + at) / kBlockBytes);
    if (block == blocks_.end())
      std::memset(buffer + at, 0, piece);
    else
      std::memcpy(buffer + at, block->second->data() + (offset + at) % kBlockBytes, piece);
    at += piece;
  }
  if (there < bytes) std::memset(buffer + there, 0, bytes - there);
  return there;
}

uint32_t MemFileContent::write(uint64_t offset, const unsigned char* buffer, uint32_t bytes,
                               uint32_t& done) {
  done = 0;
  if (bytes == 0) return kSucceeded;
  if (offset >= kMaxBytes) return eOsTooLarge;
  auto fitting = static_cast<uint32_t>(std::min<uint64_t>(bytes, kMaxBytes - offset));
  std::unique_lock lock(lock_);
  while (done < fitting) {
    uint64_t to = offset + done;
    unsigned char* block = writableBlock(to / kBlockBytes);
    if (!block) return eOsNoMemory;
    uint32_t piece = withinBlock(to, fitting - done);
    std::memcpy(block + to % kBlockBytes, buffer + done, piece);
    done += piece;
    size_ = std::max(size_, to + piece);
  }
  return done == bytes ? kSucceeded : eOsTooLarge;
}

// Null when there is no memory. The lock is held for writing.
unsigned char* MemFileContent::writableBlock(uint64_t number) {
  try {
    std::unique_ptr<Block>& block = blocks_[number];
    if (!block) block = std::make_unique<Block>();
    return block->data();
  } catch (const std::bad_alloc&) {
    auto place = blocks_.find(number);
    if (place != blocks_.end()) blocks_.erase(place);
    return nullptr;
  }
}

// Why a transfer cannot be made; success when it can.
uint32_t MemFile::whyNot(bool allowed, const void* buffer, uint32_t bytes) const {
  if (!isOpen() || (!buffer && bytes != 0)) return eOsInvalid;
  return allowed ? kSucceeded : static_cast<uint32_t>(eOsAccessDenied);
}

uint32_t MemFile::getInfo(FILE_INFO* info) const {
  if (!isOpen() || !info) return answer(eOsInvalid);
  info->writePosition = content_->size();
  return kSucceeded;
}

uint32_t MemFile::readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = whyNot(readable_, buffer, bytes);
  if (result == kSucceeded)
    moved = content_->read(offset, static_cast<unsigned char*>(buffer), bytes);
  else if (buffer)
    std::memset(buffer, 0, bytes);
  if (done) *done = moved;
  return answer(result);
}

uint32_t MemFile::writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = whyNot(writable_, buffer, bytes);
  if (result == kSucceeded)
    result = content_->write(offset, static_cast<const unsigned char*>(buffer), bytes, moved);
  if (done) *done = moved;
  return answer(result);
}

uint32_t MemFile::read(void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = readAt(position_, buffer, bytes, &moved);
  position_ += moved;
  if (done) *done = moved;
  return result;
}

uint32_t MemFile::write(const void* buffer, uint32_t bytes, uint32_t* done) {
  uint32_t moved = 0;
  uint32_t result = writeAt(position_, buffer, bytes, &moved);
  position_ += moved;
  if (done) *done = moved;
  return result;
}

uint32_t MemFile::writeBehind(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) {
  return writeAt(offset, buffer, bytes, done);
}

uint32_t MemFile::settle() { return kSucceeded; }

// Nothing of it outlives the process.
uint32_t MemFile::flush() { return kSucceeded; }

uint32_t MemFile::attach(CompletionPortHandler*) { return answer(eOsNotSupported); }

uint32_t MemFile::startRead(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) {
  return answer(eOsNotSupported);
}

uint32_t MemFile::startWrite(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) {
  return answer(eOsNotSupported);
}
