// The engine on real folders: every byte where it belongs, and bad input answered.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <limits>

#include "platform/OS.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

using Text = LightweightString<wchar_t>;

class EngineTest : public testing::TestWithParam<MountedFolder::eKind> {
protected:
  void SetUp() override {
    if (folder_.path().empty()) GTEST_SKIP() << folder_.why();
    ASSERT_EQ(FsysInitialize(), 1u);
  }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }

  uint64_t sizeOf(const Text& path) {
    uint64_t bytes = 0;
    OS()->getFileManager()->getFileSize(path, bytes);
    return bytes;
  }
  uint32_t open(const Text& path, uint32_t flags) {
    FsysFile* file = nullptr;
    uint32_t result = FsysOpen(&file, path, 0, flags, nullptr);
    if (result == 1) FsysClose(file, nullptr);
    return result;
  }

  MountedFolder folder_{GetParam()};
};

TEST_P(EngineTest, WhatIsStreamedOutInAnyBlockSizeStreamsBackInAnyOther) {
  const uint64_t size = (4 << 20) + 12345;
  for (uint32_t block : {65536u, 1u << 20, 100001u, 262143u}) {
    Text path = folder_ / ("block" + std::to_string(block));
    ASSERT_TRUE(streamOut(path, 0, size, block));
    EXPECT_EQ(sizeOf(path), size) << "no padding, nothing lost";
    EXPECT_EQ(whyNotStreamedBack(path, size, 1 << 20), "");
    EXPECT_EQ(whyNotStreamedBack(path, size, 70001), "");
  }
}

TEST_P(EngineTest, AFileContinuedTwiceAtUnalignedEndsHasEveryByteWhereItBelongs) {
  Text path = folder_ / "continued";
  uint64_t size = 0;
  for (uint64_t more : {1001u, 300003u, 77u}) {
    ASSERT_TRUE(streamOut(path, size, size + more, 50000));
    size += more;
    ASSERT_EQ(sizeOf(path), size);
  }
  EXPECT_EQ(whyNotStreamedBack(path, size, 4096), "");
}

TEST_P(EngineTest, SingleWritesLargerThanTheWriteCacheArriveWhole) {
  for (uint32_t size : {(1u << 20) + 1, (64u << 20) + 3}) {
    Text path = folder_ / ("large" + std::to_string(size));
    ASSERT_TRUE(streamOut(path, 0, size, size));
    EXPECT_EQ(sizeOf(path), size);
    EXPECT_EQ(whyNotStreamedBack(path, size, 8 << 20), "");
    OS()->getFileManager()->deleteFile(path);
  }
}

TEST_P(EngineTest, NamesThatAreNotUtf8AreNamesLikeOthers) {
  Text path = folder_ / "take \xFF\xC3\x28 1";
  ASSERT_TRUE(streamOut(path, 0, 5000, 5000));
  EXPECT_EQ(whyNotStreamedBack(path, 5000, 5000), "");
  EXPECT_EQ(::access((folder_.path() + "/take \xFF\xC3\x28 1").c_str(), F_OK), 0);
}

TEST_P(EngineTest, WhatIsNoFileIsRefusedWithAnError) {
  EXPECT_EQ(open(folder_ / "missing", 1), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNotFound});
  EXPECT_EQ(open(folder_ / "", 1), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsIsAFolder});
  ASSERT_EQ(::mkfifo((folder_.path() + "/fifo").c_str(), 0600), 0);
  EXPECT_EQ(open(folder_ / "fifo", 1), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNotSupported});
  EXPECT_EQ(open(folder_ / "fifo", 2), 0u);
  EXPECT_EQ(open(Text(L"/dev/null"), 1), 0u);
  EXPECT_EQ(open(Text(L"/dev/full"), 2), 0u);
  EXPECT_EQ(open(folder_ / std::string_view("a\0b", 3), 1), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsInvalid});
  EXPECT_EQ(open(folder_ / "missing/deeper", 2), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNotFound});
  EXPECT_EQ(open(folder_ / std::string(300, 'x'), 2), 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNameTooLong});
}

TEST_P(EngineTest, OffsetsAndLengthsAtTheEndsOfTheNumbersAreAnsweredAsFailures) {
  ASSERT_TRUE(streamOut(folder_ / "a", 0, 8192, 8192));
  FsysFile* file = nullptr;
  ASSERT_EQ(FsysOpen(&file, folder_ / "a", 0, 1, nullptr), 1u);
  Qv::Ptr<Recorder> recorder(new Recorder);
  Qv::Ptr<iObject> context = recorder->context();
  const std::pair<long, uint32_t> ranges[] = {{8192, 512},
                                              {1L << 40, 4096},
                                              {std::numeric_limits<long>::max(), 1},
                                              {std::numeric_limits<long>::max() - 4096, 8192},
                                              {-1, 1},
                                              {-512, 512},
                                              {std::numeric_limits<long>::min(), 512},
                                              {0, 0},
                                              {0, 0xFFFFFFFF},
                                              {511, 0xFFFFFE00}};
  for (auto [position, length] : ranges)
    EXPECT_EQ(file->DirectRead(position, length, false, &Recorder::told, context), 1u);
  ASSERT_TRUE(recorder->waitFor(std::size(ranges)));
  for (const Recorder::Call& call : recorder->calls()) {
    EXPECT_EQ(call.status, eRequestFailed);
    EXPECT_FALSE(call.hadData);
  }
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

TEST_P(EngineTest, AnEngineThatEndsWithTransfersInFlightLosesNoWrites) {
  FsysFile* file = nullptr;
  ASSERT_EQ(FsysOpen(&file, folder_ / "a", 0, 2, nullptr), 1u);
  Qv::Ptr<Recorder> recorder(new Recorder);
  Qv::Ptr<iObject> context = recorder->context();
  for (uint64_t at = 0; at < 8u << 20; at += 1 << 20) {
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(1 << 20, at);
    ASSERT_EQ(file->DirectWrite(data, false, &Recorder::told, context, false), 1u);
  }
  Qv::Ptr<iMemHolder> tail = TestHolder::ofPattern(777, 8 << 20);
  ASSERT_EQ(file->DirectWrite(tail, false, &Recorder::told, context, false), 1u);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder->count(), 9u);
  ASSERT_EQ(FsysInitialize(), 1u);
  EXPECT_EQ(whyNotStreamedBack(folder_ / "a", (8 << 20) + 777, 1 << 20), "");
}

TEST_P(EngineTest, AServedFileStreamsLikeAnother) {
  // Its files are the process's: each run has a name of its own.
  Text path = Text(L"mem:") + (folder_ / "served");
  ASSERT_TRUE(streamOut(path, 0, 300001, 70000));
  EXPECT_EQ(whyNotStreamedBack(path, 300001, 65536), "");
}

std::string kindName(const testing::TestParamInfo<MountedFolder::eKind>& test) {
  if (test.param == MountedFolder::eDisk) return "Disk";
  return test.param == MountedFolder::eMemory ? "Memory" : "LargeSectors";
}

INSTANTIATE_TEST_SUITE_P(Folders, EngineTest,
                         testing::Values(MountedFolder::eDisk, MountedFolder::eMemory,
                                         MountedFolder::eLargeSectors),
                         kindName);

}  // namespace
