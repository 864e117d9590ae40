#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <shared_mutex>

#include "platform/OsFiles.h"

// MemFileContent: the bytes of one file in memory.
// Threads    any: reads go on side by side, a write excludes them.
// Units      bytes; kept in blocks, and a block that was never written does not exist.
class MemFileContent {
public:
  static constexpr uint64_t kMaxBytes = INT64_MAX;
  static constexpr uint32_t kBlockBytes = 64 * 1024;

  uint64_t size() const;
  // Returns what lay before the end; the rest of the buffer is zero-filled.
  uint32_t read(uint64_t offset, unsigned char* buffer, uint32_t bytes) const;
  // 1, eOsTooLarge or eOsNoMemory; `done` bytes were written in every case.
  uint32_t write(uint64_t offset, const unsigned char* buffer, uint32_t bytes, uint32_t& done);

private:
  using Block = std::array<unsigned char, kBlockBytes>;

  unsigned char* writableBlock(uint64_t number);

  mutable std::shared_mutex lock_;  // guards everything below
  uint64_t size_ = 0;
  std::map<uint64_t, std::unique_ptr<Block>> blocks_;
};

// MemFile: one opened file of a MemFileContent. It has no asynchronous transfers.
class MemFile final : public iFile {
public:
  MemFile(std::shared_ptr<MemFileContent> content, bool readable, bool writable)
      : content_(std::move(content)), readable_(readable), writable_(writable) {}

  bool isOpen() const override { return open_.load(std::memory_order_acquire); }
  void close() override { open_.store(false, std::memory_order_release); }
  unsigned getCapabilities() const override { return 0; }
  uint64_t getSize() const override { return isOpen() ? content_->size() : 0; }
  uint32_t getInfo(FILE_INFO* info) const override;

  uint32_t readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) override;
  uint32_t writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) override;
  uint32_t writeBehind(uint64_t offset, const void* buffer, uint32_t bytes,
                       uint32_t* done) override;
  uint32_t settle() override;
  uint32_t flush() override;
  uint32_t read(void* buffer, uint32_t bytes, uint32_t* done) override;
  uint32_t write(const void* buffer, uint32_t bytes, uint32_t* done) override;
  void seek(uint64_t offset) override { position_ = offset; }

  uint32_t attach(CompletionPortHandler* handler) override;
  uint32_t startRead(const Qv::Ptr<iAsyncContext>& context, const AsyncTransfer& transfer) override;
  uint32_t startWrite(const Qv::Ptr<iAsyncContext>& context,
                      const AsyncTransfer& transfer) override;

private:
  uint32_t whyNot(bool allowed, const void* buffer, uint32_t bytes) const;

  const std::shared_ptr<MemFileContent> content_;
  const bool readable_;
  const bool writable_;
  std::atomic<bool> open_{true};
  uint64_t position_ = 0;  // the one thread's that uses the current position
};
