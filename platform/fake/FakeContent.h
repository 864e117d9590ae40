#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <memory>
#include <vector>

// FakeContent: the bytes of one file of the fake. What was never written reads as zeros.
// Units      bytes; kept in blocks, so that an offset of terabytes costs nothing.
class FakeContent {
public:
  uint64_t size() const { return size_; }
  // Returns what lay before the end; the rest of the buffer is zero-filled.
  uint32_t read(uint64_t offset, void* buffer, uint32_t bytes) const;
  void write(uint64_t offset, const void* buffer, uint32_t bytes);
  // Cuts everything off.
  void clear();
  // Another file of the same bytes; nobody holds a lock on it.
  std::shared_ptr<FakeContent> copy() const;
  // The whole file.
  std::vector<unsigned char> bytes() const;

  bool readOnly = false;
  unsigned mode = 0644;  // permissions: kept and copied, and nothing follows from them
  double marked_ms = 0;  // when it was marked last
  // Files that hold a lock on it (eAttributeHoldLock): any number that read, or one that does not.
  unsigned sharedLocks = 0;
  unsigned soleLocks = 0;
  bool lockedByOthers = false;  // who read, in no file of the fake's
  bool isLocked() const { return lockedByOthers || sharedLocks > 0 || soleLocks > 0; }

private:
  static constexpr uint32_t kBlock = 16 * 1024;
  using Block = std::array<unsigned char, kBlock>;

  uint64_t size_ = 0;
  std::map<uint64_t, std::unique_ptr<Block>> blocks_;
};
