#include "platform/fake/FakeContent.h"

#include <algorithm>
#include <cstring>

uint32_t FakeContent::read(uint64_t offset, void* buffer, uint32_t bytes) const {
  auto* to = static_cast<unsigned char*>(buffer);
  uint32_t there = 0;
  if (offset < size_) there = static_cast<uint32_t>(std::min<uint64_t>(bytes, size_ - offset));
  if (bytes > 0) std::memset(to, 0, bytes);
  for (uint32_t at = 0; at < there;) {
    uint64_t from = offset + at;
    auto piece = static_cast<uint32_t>(std::min<uint64_t>(kBlock - from % kBlock, there - at));
    auto block = blocks_.find(from / kBlock);
    if (block != blocks_.end()) std::memcpy(to + at, block->second->data() + from % kBlock, piece);
    at += piece;
  }
  return there;
}

void FakeContent::write(uint64_t offset, const void* buffer, uint32_t bytes) {
  auto* from = static_cast<const unsigned char*>(buffer);
  for (uint32_t at = 0; at < bytes;) {
    uint64_t to = offset + at;
    auto piece = static_cast<uint32_t>(std::min<uint64_t>(kBlock - to % kBlock, bytes - at));
    std::unique_ptr<Block>& block = blocks_[to / kBlock];
    if (!block) block = std::make_unique<Block>();
    std::memcpy(block->data() + to % kBlock, from + at, piece);
    at += piece;
  }
  if (bytes > 0) size_ = std::max(size_, offset + bytes);
}

void FakeContent::clear() {
  size_ = 0;
  blocks_.clear();
}

std::shared_ptr<FakeContent> FakeContent::copy() const {
  auto other = std::make_shared<FakeContent>();
  other->readOnly = readOnly;
  other->mode = mode;
  other->marked_ms = marked_ms;
  other->size_ = size_;
  for (const auto& [number, block] : blocks_)
    other->blocks_[number] = std::make_unique<Block>(*block);
  return other;
}

std::vector<unsigned char> FakeContent::bytes() const {
  std::vector<unsigned char> all(size_);
  for (const auto& [number, block] : blocks_) {
    uint64_t begin = number * kBlock;
    if (begin < size_)
      std::memcpy(all.data() + begin, block->data(), std::min<uint64_t>(kBlock, size_ - begin));
  }
  return all;
}
