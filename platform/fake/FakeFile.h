#pragma once

#include <memory>
#include <string>

#include "platform/OsFiles.h"
#include "platform/fake/FakeContent.h"
#include "platform/fake/FakeRecords.h"

class FakeFileManager;
struct FakePortState;

// FakeFile: one opened file of the fake's file manager.
class FakeFile final : public iFile {
public:
  struct Opening {
    bool readable = false;
    bool writable = false;
    bool async = false;     // has asynchronous transfers
    bool byCaller = false;  // its waiting callers transfer themselves
    bool probe = false;     // transfers nothing
    bool holdLock = false;
  };

  FakeFile(FakeFileManager& files, const std::wstring& path, std::shared_ptr<FakeContent> content,
           const Opening& how);
  ~FakeFile() override;

  bool isOpen() const override { return open_; }
  void close() override;
  unsigned getCapabilities() const override {
    return (how_.async ? eAsyncTransfers : 0u) | (how_.byCaller ? eTransfersByCaller : 0u);
  }
  uint64_t getSize() const override { return open_ ? content_->size() : 0; }
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
  uint32_t check(bool allowed, uint64_t offset, const void* buffer, uint32_t bytes) const;
  uint32_t readBytes(bool atPosition, uint64_t offset, void* buffer, uint32_t bytes,
                     uint32_t& done);
  uint32_t writeBytes(FakeTransferRecord::eWay way, uint64_t offset, const void* buffer,
                      uint32_t bytes, uint32_t& done);
  void tellWatcher(bool write, uint64_t offset, const void* buffer, uint32_t bytes, uint32_t done,
                   uint32_t result) const;
  uint32_t start(bool write, const Qv::Ptr<iAsyncContext>& context, const AsyncTransfer& transfer);
  uint32_t checkStart(bool write, const Qv::Ptr<iAsyncContext>& context,
                      const AsyncTransfer& transfer) const;
  uint32_t answer(uint32_t result) const;

  FakeFileManager& files_;
  const std::wstring path_;
  const std::shared_ptr<FakeContent> content_;
  const Opening how_;
  bool open_ = true;
  uint64_t position_ = 0;
  std::shared_ptr<FakePortState> port_;
};
