#pragma once

#include <atomic>

#include "platform/OsFiles.h"

// ProbedFile: a file that was found to open as it was asked for. It holds no descriptor and
// transfers nothing (eOsNotSupported); it knows the size that the file had then.
// Threads    any.
class ProbedFile final : public iFile {
public:
  ProbedFile(uint64_t size, unsigned capabilities) : size_(size), capabilities_(capabilities) {}

  bool isOpen() const override { return open_.load(std::memory_order_relaxed); }
  void close() override { open_.store(false, std::memory_order_relaxed); }
  unsigned getCapabilities() const override { return capabilities_; }
  uint64_t getSize() const override { return isOpen() ? size_ : 0; }
  uint32_t getInfo(FILE_INFO* info) const override;

  uint32_t readAt(uint64_t, void*, uint32_t, uint32_t* done) override { return refuse(done); }
  uint32_t writeAt(uint64_t, const void*, uint32_t, uint32_t* done) override {
    return refuse(done);
  }
  uint32_t writeBehind(uint64_t, const void*, uint32_t, uint32_t* done) override {
    return refuse(done);
  }
  uint32_t settle() override { return 1; }
  uint32_t flush() override { return 1; }
  uint32_t read(void*, uint32_t, uint32_t* done) override { return refuse(done); }
  uint32_t write(const void*, uint32_t, uint32_t* done) override { return refuse(done); }
  void seek(uint64_t) override {}

  uint32_t attach(CompletionPortHandler*) override { return refuse(nullptr); }
  uint32_t startRead(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) override {
    return refuse(nullptr);
  }
  uint32_t startWrite(const Qv::Ptr<iAsyncContext>&, const AsyncTransfer&) override {
    return refuse(nullptr);
  }

private:
  static uint32_t refuse(uint32_t* done);

  const uint64_t size_;
  const unsigned capabilities_;
  std::atomic<bool> open_{true};
};
