#pragma once

#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"

// What is held above which the write cache is sent; bytes.
inline constexpr uint32_t kStaged = 131072;

// Streams through a file's direct transfers.
class FsysFileDirectFixture : public EngineFixture {
protected:
  FsysFile* openForSynchronousWriting() {
    os_->files().setDrive(L"/s/", {.asyncTransfers = false});
    return openForWriting(L"/s/a");
  }
  // Reads a range and lets it finish, so that it is kept.
  void keep(FsysFile* file, long position, uint32_t length, int ticket = 0) {
    ASSERT_EQ(read(file, position, length, ticket), 1u);
    passOverReads();
    os_->asyncIo().finishAll();
  }
  size_t startedCount() {
    size_t count = 0;
    for (const FakeTransferRecord& record : os_->files().transfers())
      count += record.way == FakeTransferRecord::eAsync;
    return count;
  }
};
