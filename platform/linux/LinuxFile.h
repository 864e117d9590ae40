#pragma once

#include "platform/OsFiles.h"
#include "platform/common/Mutex.h"
#include "platform/linux/FileTransfer.h"
#include "platform/linux/TransferPort.h"
#include "platform/linux/WriteBehind.h"

// LinuxFile: an open regular file.
// Story      Made by the file manager with the file's descriptors; attached to a completion handler
//            where its transfers are to be asynchronous; closed, or dropped.
// Threads    as iFile says.
//            A server that does not answer holds a close up for two seconds at most.
// Ownership  shares the descriptors with its transfers in flight, and the port it is attached to.
class LinuxFile final : public iFile {
public:
  LinuxFile(const Qv::Ptr<OpenDescriptors>& descriptors, unsigned capabilities)
      : capabilities_(capabilities), descriptors_(descriptors) {}
  ~LinuxFile() override { close(); }

  bool isOpen() const override { return static_cast<bool>(opened()); }
  void close() override;
  unsigned getCapabilities() const override { return capabilities_; }
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
  void seek(uint64_t offset) override { position_ = offset; }

  uint32_t attach(CompletionPortHandler* handler) override;
  uint32_t startRead(const Qv::Ptr<iAsyncContext>& context, const AsyncTransfer& transfer) override;
  uint32_t startWrite(const Qv::Ptr<iAsyncContext>& context,
                      const AsyncTransfer& transfer) override;

  // Whether transfers that meet the alignment go past the page cache.
  bool usesDirect() const;

private:
  Qv::Ptr<OpenDescriptors> opened() const;
  Qv::Ptr<TransferPort> attachedPort() const;
  uint32_t size(uint64_t& bytes) const;
  uint32_t transferAt(FileTransfer::eDirection direction, uint64_t offset, void* buffer,
                      uint32_t bytes, uint32_t* done, bool behind = false);
  uint32_t start(FileTransfer::eDirection direction, const Qv::Ptr<iAsyncContext>& context,
                 const AsyncTransfer& transfer);

  const unsigned capabilities_;
  uint64_t position_ = 0;  // of the one thread that uses it
  WriteBehind behind_;

  mutable Mutex lock_;
  Qv::Ptr<OpenDescriptors> descriptors_ GUARDED_BY(lock_);  // null once closed
  Qv::Ptr<TransferPort> port_ GUARDED_BY(lock_);
};
