// Writes that the system may finish after they returned.

#include <fcntl.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

#include "platform/linux/WriteBehind.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AlignedBuffer.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/SystemCallFilter.h"

namespace {

constexpr unsigned kStreaming = Manager::eModeDirect | Manager::eModeAsync;
constexpr uint32_t kBlock = 65536;

class LinuxWriteBehindTest : public LinuxFileFixture {
protected:
  // Bytes of the file's start that the page cache holds.
  ssize_t cachedBytes() {
    int descriptor = open(folder_.bytes("clip").c_str(), O_RDONLY | O_CLOEXEC);
    std::string bytes(kBlock, '\0');
    iovec part = {bytes.data(), bytes.size()};
    ssize_t cached = preadv2(descriptor, &part, 1, 0, RWF_NOWAIT);
    close(descriptor);
    return cached;
  }
};

TEST_F(LinuxWriteBehindTest, AlignedBytesGoThroughThePageCacheAndCanBeReadAtOnce) {
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip", kStreaming);
  ASSERT_TRUE(file && isDirect(file));
  AlignedBuffer buffer(kBlock);
  fillPattern(buffer.data(), kBlock, 0);
  uint32_t done = 0;
  ASSERT_EQ(file->writeAt(0, buffer.data(), kBlock, &done), 1u);
  EXPECT_EQ(cachedBytes(), -1) << "a direct write leaves nothing in the page cache";
  ASSERT_EQ(file->writeBehind(0, buffer.data(), kBlock, &done), 1u);
  EXPECT_EQ(done, kBlock);
  EXPECT_EQ(cachedBytes(), ssize_t{kBlock});
  EXPECT_EQ(file->settle(), 1u);
  EXPECT_EQ(file->settle(), 1u) << "nothing is left to wait for";
  file->close();
  EXPECT_EQ(folder_.content("clip"), pattern(kBlock));
}

TEST_F(LinuxWriteBehindTest, DirectWritesBesideItSeeTheSameFile) {
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip", kStreaming);
  AlignedBuffer buffer(kBlock);
  for (uint64_t block = 0; block < 64; ++block) {
    fillPattern(buffer.data(), kBlock, block * kBlock);
    ASSERT_EQ(block % 2 ? file->writeAt(block * kBlock, buffer.data(), kBlock, nullptr)
                        : file->writeBehind(block * kBlock, buffer.data(), kBlock, nullptr),
              1u);
  }
  for (uint64_t block = 0; block < 64; ++block) {
    ASSERT_EQ(file->readAt(block * kBlock, buffer.data(), kBlock, nullptr), 1u);
    EXPECT_EQ(std::string(reinterpret_cast<char*>(buffer.data()), kBlock),
              pattern(kBlock, block * kBlock));
  }
  EXPECT_EQ(file->settle(), 1u);
}

TEST_F(LinuxWriteBehindTest, AFileThatWasNotOpenedForItWritesNothing) {
  folder_.put("clip", pattern(100));
  Qv::Ptr<iFile> file = openToRead(folder_ / "clip", kStreaming);
  uint32_t done = 7;
  EXPECT_EQ(file->writeBehind(0, "x", 1, &done), eOsAccessDenied);
  EXPECT_EQ(done, 0u);
  file->close();
  EXPECT_EQ(file->settle(), eOsInvalid);
}

// What the child saw comes back as its exit status.
TEST_F(LinuxWriteBehindTest, WhatTheDiskRefusesIsToldOnce) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  Qv::Ptr<iFile> file = openToWrite(folder_ / "clip", kStreaming);
  ASSERT_TRUE(file);
  pid_t child = fork();
  if (child == 0) {
    bool right = file->writeBehind(0, "abc", 3, nullptr) == 1 &&
                 SystemCallFilter::refuse(SYS_sync_file_range, EIO) &&
                 file->settle() == eOsIoError && lastError() == eOsIoError && file->settle() == 1;
    _exit(right ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(LinuxWriteBehindTest, ADiskThatCannotBeToldToBeginIsNoReasonToFail) {
  WriteBehind behind;
  behind.wrote(-1, 0, static_cast<uint32_t>(WriteBehind::kBegin_bytes));
  EXPECT_EQ(behind.settle(-1), EBADF);
  EXPECT_EQ(behind.settle(-1), 0);
  behind.wrote(-1, 0, 0);
  EXPECT_EQ(behind.settle(-1), 0) << "nothing was written";
}

TEST_F(LinuxWriteBehindTest, CallersTransferThemselvesWhereNoServerCanKeepThemWaiting) {
  Qv::Ptr<iFile> local = openToWrite(folder_ / "clip", kStreaming);
  EXPECT_EQ(local->getCapabilities(), iFile::eAsyncTransfers | iFile::eTransfersByCaller);
  HeldFileSystem share(folder_.bytes("share"));
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  Qv::Ptr<iFile> shared = openToRead(folder_ / "share/held", kStreaming);
  ASSERT_TRUE(shared);
  EXPECT_EQ(shared->getCapabilities(), unsigned{iFile::eAsyncTransfers});
}

}  // namespace
