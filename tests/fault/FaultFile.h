#pragma once

#include "platform/OsFiles.h"
#include "tests/fault/FaultState.h"

// FaultFile: a file of the system below, whose calls may fail.
// Story      A call that is struck never reaches the file, unless it is a transfer that is cut
//            short: then that many bytes are moved. An asynchronous transfer that is to end badly
//            is made as far as that, and FaultCommand tells the rest.
// Threads    as the file below.
class FaultFile final : public iFile {
public:
  FaultFile(const Qv::Ptr<FaultState>& state, const Qv::Ptr<iFile>& inner,
            const LightweightString<wchar_t>& path)
      : state_(state), inner_(inner), path_(path) {}

  bool isOpen() const override { return inner_->isOpen(); }
  void close() override { inner_->close(); }
  unsigned getCapabilities() const override { return inner_->getCapabilities(); }
  uint64_t getSize() const override;
  uint32_t getInfo(FILE_INFO* info) const override;
  uint32_t readAt(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done) override;
  uint32_t writeAt(uint64_t offset, const void* buffer, uint32_t bytes, uint32_t* done) override;
  uint32_t writeBehind(uint64_t offset, const void* buffer, uint32_t bytes,
                       uint32_t* done) override;
  uint32_t settle() override;
  uint32_t flush() override;
  uint32_t read(void* buffer, uint32_t bytes, uint32_t* done) override;
  uint32_t write(const void* buffer, uint32_t bytes, uint32_t* done) override;
  void seek(uint64_t offset) override { inner_->seek(offset); }
  uint32_t attach(CompletionPortHandler* handler) override;
  uint32_t startRead(const Qv::Ptr<iAsyncContext>& context, const AsyncTransfer& transfer) override;
  uint32_t startWrite(const Qv::Ptr<iAsyncContext>& context,
                      const AsyncTransfer& transfer) override;

private:
  FaultPoints::Verdict next(FaultCall call, uint64_t offset = 0, uint32_t bytes = 0) const {
    return state_->points().next(call, {&path_, offset, bytes});
  }
  template <typename Transfer>
  uint32_t readWith(uint64_t offset, void* buffer, uint32_t bytes, uint32_t* done,
                    const Transfer& transfer);
  template <typename Transfer>
  uint32_t writeWith(uint64_t offset, uint32_t bytes, uint32_t* done, const Transfer& transfer);

  Qv::Ptr<FaultState> state_;
  Qv::Ptr<iFile> inner_;
  LightweightString<wchar_t> path_;
};
