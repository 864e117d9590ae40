// A callback that ends the process: what the files hold.

#include "tests/FsysFileFixture.h"
#include "tests/support/HeldByAnother.h"

namespace {

using Texts = std::vector<std::string>;

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

TEST_F(FsysLeavingTest, NorIsItAskedWhereNobodyCouldTellOfItsEnd) {
  FsysFile* file = openForWriting(L"/n/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1001)), 1u);
  recorder_->onCall([this](const Recorder::Call&) {
    os_->faults().fail(FaultPlan::eCreateEvent, eOsNoMemory);
    FsysUninitialize(Shutdown::eNormal);
    EXPECT_EQ(os_->faults().fired(FaultPlan::eCreateEvent), 1u);
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(100, 1001)), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/n/a"), patternBytes(1101));
}

TEST_F(FsysLeavingTest, WhatThatThreadDoesNotTakeThisOneWrites) {
  FsysFile* file = openForWriting(L"/n/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1001)), 1u);
  os_->faults().fail(FaultPlan::ePostTask, eOsNoMemory);
  leaveInACallbackOf(file);
  EXPECT_EQ(os_->faults().fired(FaultPlan::ePostTask), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/n/a"), patternBytes(1101));
}

TEST_F(FsysLeavingTest, NothingMoreIsTaken) {
  FsysFile* file = openForWriting(L"/m/a");
  leaveInACallbackOf(file);
  EXPECT_EQ(write(file, TestHolder::ofPattern(100)), 0u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 0u);
}

TEST_F(FsysLeavingTest, WhatAShareDoesNotTakeIsSaidToBeLost) {
  FsysFile* file = openForWriting(L"/n/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1001)), 1u);
  os_->faults().fail(FaultPlan::eWrite, eOsIoError, 1, FaultPlan::eFromThenOn);
  leaveInACallbackOf(file);
  EXPECT_EQ(texts_.log(), Texts{"The last 1101 bytes of /n/a could not be written\n"});
}

TEST_F(FsysLeavingTest, AFileThatIsBeingClosedIsLeftToItsCloser) {
  FsysFile* closing = openForWriting(L"/m/a");
  EXPECT_EQ(write(closing, TestHolder::ofPattern(1001)), 1u);
  ASSERT_TRUE(FsysFilePeer::claimAsCloser(*closing));
  FsysFilePeer::setHeldIsSent(*closing);
  leaveInACallbackOf(openForWriting(L"/m/b"));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*closing), 1001u) << "its closer has it";
  EXPECT_EQ(texts_.log(), Texts{});
}

TEST_F(FsysLeavingTest, ACloserThatDoesNotComeToItIsWaitedForAWhileAndTheFileNamed) {
  FsysFile* closing = openForWriting(L"/m/a");
  ASSERT_TRUE(FsysFilePeer::claimAsCloser(*closing));
  double begin_ms = os_->clock().now_ms();
  leaveInACallbackOf(openForWriting(L"/m/b"));
  EXPECT_EQ(os_->clock().now_ms() - begin_ms, 1000);
  EXPECT_EQ(texts_.log(),
            Texts{"What /m/a held may not be written: it was at work as the process ended\n"});
}

TEST_F(FsysLeavingTest, AFileThatSomebodyWritesToIsWaitedForAWhileAndNamed) {
  FsysFile* busy = openForWriting(L"/m/a");
  EXPECT_EQ(write(busy, TestHolder::ofPattern(1001)), 1u);
  FsysFilePeer::setWritersInside(*busy, 1);
  leaveInACallbackOf(openForWriting(L"/m/b"));
  FsysFilePeer::setWritersInside(*busy, 0);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*busy), 1001u);
  EXPECT_EQ(texts_.log(),
            Texts{"What /m/a held may not be written: it was at work as the process ended\n"});
}

TEST_F(FsysLeavingTest, AListThatAnotherThreadDoesNotLetGoIsWaitedForAWhile) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1001)), 1u);
  // Their passes would wait for the list too.
  readPoll()->Stop();
  writePoll()->Stop();
  double begin_ms = os_->clock().now_ms();
  {
    HeldByAnother held(FsysPeer::writeLock(*theFsys));
    leaveInACallbackOf(file);
  }
  EXPECT_EQ(os_->clock().now_ms() - begin_ms, 100);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 1101u);
  EXPECT_EQ(
      texts_.log(),
      Texts{"What open files held was not written: their list was in use as the process ended\n"});
}

TEST_F(FsysLeavingTest, AClosersTurnIsOverOnceAFileIsLeftBehind) {
  FsysFile* file = openForWriting(L"/m/a");
  leaveInACallbackOf(file);
  recorder_->onCall([](const Recorder::Call&) {});
  EXPECT_EQ(FsysClose(file, nullptr), 0u);
}

}  // namespace
