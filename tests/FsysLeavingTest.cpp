// A callback that ends the process: what the files hold.

#include "tests/FsysFileFixture.h"

namespace {

class FsysLeavingTest : public FsysFileFixture {
protected:
  void SetUp() override {
    FsysFileFixture::SetUp();
    os_->files().setDrive(L"/n/", {.type = iDiskDrive::eNetwork});
    FsysSetNetworkWriteCaching(true);
  }
  // The next callback ends the process, as far as the engine sees it.
  void leaveInACallbackOf(FsysFile* file) {
    recorder_->onCall([](const Recorder::Call&) { FsysUninitialize(Shutdown::eNormal); });
    EXPECT_EQ(write(file, TestHolder::ofPattern(100, 1001)), 1u);
  }
};

TEST_F(FsysLeavingTest, AnotherThreadWritesWhatAShareHoldsAndTheEngineStays) {
  FsysFile* file = openForWriting(L"/n/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1001)), 1u);
  leaveInACallbackOf(file);
  EXPECT_NE(theFsys, nullptr);
  EXPECT_EQ(os_->files().bytesOf(L"/n/a"), patternBytes(1101));
}

TEST_F(FsysLeavingTest, WithoutThatThreadThisOneWrites) {
  FsysFile* file = openForWriting(L"/n/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1001)), 1u);
  os_->faults().fail(FaultPlan::eCreateTaskQueue, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  leaveInACallbackOf(file);
  EXPECT_EQ(os_->files().bytesOf(L"/n/a"), patternBytes(1101));
}

TEST_F(FsysLeavingTest, NothingMoreIsTaken) {
  FsysFile* file = openForWriting(L"/m/a");
  leaveInACallbackOf(file);
  EXPECT_EQ(write(file, TestHolder::ofPattern(100)), 0u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 0u);
}

}  // namespace
