// The engine on the file systems that editors' drives have.

#include <gtest/gtest.h>

#include "platform/OS.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

class EngineDriveTest : public testing::TestWithParam<MountedFolder::eKind> {};

TEST_P(EngineDriveTest, EveryByteIsThereWhateverTheBlocksAndWhereverAFileIsContinued) {
  MountedFolder folder(GetParam());
  if (folder.path().empty()) GTEST_SKIP() << folder.why();
  ASSERT_EQ(FsysInitialize(), 1u);
  for (uint32_t block : {1u << 20, 65536u, 100001u}) {
    LightweightString<wchar_t> path = folder / ("block" + std::to_string(block));
    uint64_t size = (2 << 20) + 12345;
    ASSERT_TRUE(streamOut(path, 0, size, block));
    ASSERT_TRUE(streamOut(path, size, size + 300003, block));
    size += 300003;
    uint64_t there = 0;
    OS()->getFileManager()->getFileSize(path, there);
    EXPECT_EQ(there, size) << "no padding, nothing lost";
    EXPECT_EQ(whyNotStreamedBack(path, size, 1 << 20), "");
    EXPECT_EQ(whyNotStreamedBack(path, size, 70001), "");
  }
  FsysUninitialize(Shutdown::eNormal);
}

INSTANTIATE_TEST_SUITE_P(Drives, EngineDriveTest,
                         testing::Values(MountedFolder::eExt4, MountedFolder::eXfs),
                         [](const testing::TestParamInfo<MountedFolder::eKind>& test) {
                           return test.param == MountedFolder::eXfs ? "Xfs" : "Ext4";
                         });

}  // namespace
