// A queued write that lies on no sectors, on the folders that refuse such direct transfers and on
// others.

#include <gtest/gtest.h>

#include "fsys/FileRequest.h"
#include "platform/OS.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/StreamedFile.h"
#include "tests/support/TestDiagnostics.h"

namespace {

class EngineUnalignedWriteTest : public testing::TestWithParam<MountedFolder::eKind> {
protected:
  void SetUp() override {
    if (folder_.path().empty()) GTEST_SKIP() << folder_.why();
    ASSERT_EQ(FsysInitialize(), 1u);
  }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }

  uint64_t sizeOf(const LightweightString<wchar_t>& path) {
    uint64_t bytes = 0;
    OS()->getFileManager()->getFileSize(path, bytes);
    return bytes;
  }

  MountedFolder folder_{GetParam()};
};

TEST_P(EngineUnalignedWriteTest, ItGoesOutWholeAndNothingAroundItIsTouched) {
  FsysFile* file = nullptr;
  ASSERT_EQ(FsysOpen(&file, folder_ / "a", 0, 2, nullptr), 1u);
  Qv::Ptr<Recorder> recorder(new Recorder);
  {
    TestDiagnostics texts;
    ASSERT_EQ(file->QueueWriteRequest(new FileRequest(false, 100, 1000, false, false,
                                                      TestHolder::ofPattern(100, 1000), file,
                                                      &Recorder::told, recorder->context())),
              1u);
    ASSERT_TRUE(recorder->waitFor(1));
    EXPECT_EQ(texts.outText(), "assertion failed false at fsys/FileRequest line 154\n");
  }
  EXPECT_EQ(recorder->at(0).status, eRequestSucceeded);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  ASSERT_EQ(sizeOf(folder_ / "a"), 1100u);
  ASSERT_EQ(FsysOpen(&file, folder_ / "a", 0, 1, nullptr), 1u);
  Qv::Ptr<iObject> context = recorder->context();
  EXPECT_EQ(file->DirectRead(0, 1100, false, &Recorder::told, context), 1u);
  ASSERT_TRUE(recorder->waitFor(2));
  std::vector<unsigned char> bytes = recorder->at(1).bytes;
  ASSERT_EQ(bytes.size(), 1100u);
  EXPECT_EQ(whyNotZeros(bytes.data(), 1000), "");
  EXPECT_EQ(whyNotPattern(bytes.data() + 1000, 100, 1000), "");
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
}

std::string kindName(const testing::TestParamInfo<MountedFolder::eKind>& test) {
  if (test.param == MountedFolder::eDisk) return "Disk";
  return test.param == MountedFolder::eMemory ? "Memory" : "LargeSectors";
}

INSTANTIATE_TEST_SUITE_P(Folders, EngineUnalignedWriteTest,
                         testing::Values(MountedFolder::eDisk, MountedFolder::eMemory,
                                         MountedFolder::eLargeSectors),
                         kindName);

}  // namespace
