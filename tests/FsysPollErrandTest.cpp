// Passes that the completion handler's thread makes for who has just queued something.

#include "tests/FsysFileFixture.h"
#include "tests/support/HeldByAnother.h"

namespace {

class FsysPollErrandTest : public FsysFileFixture {
protected:
  void SetUp() override {
    FsysFileFixture::SetUp();
    os_->asyncIo().takeErrands(true);
  }
  size_t started() { return os_->asyncIo().pending().size(); }
};

TEST_F(FsysPollErrandTest, AReadSendsTheWaitingHandlerAndWakesNoPoller) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(read(file, 0, 512), 1u);
  EXPECT_FALSE(readPollIsDue());
  EXPECT_EQ(started(), 0u);
  EXPECT_EQ(os_->asyncIo().runErrands(), 1u);
  EXPECT_EQ(started(), 1u);
}

TEST_F(FsysPollErrandTest, AWriteSendsTheWritesHandlerAlone) {
  FsysFile* file = openForWriting(L"/m/a");
  readPatternFile(L"/m/b", 4096);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512)), 1u);
  EXPECT_FALSE(writePollIsDue());
  EXPECT_EQ(os_->asyncIo().runErrands(), 1u);
  ASSERT_EQ(started(), 1u);
  EXPECT_TRUE(os_->asyncIo().pending()[0].write);
}

TEST_F(FsysPollErrandTest, AHandlerThatIsNotWaitingLeavesItToThePoller) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  os_->asyncIo().takeErrands(false);
  EXPECT_EQ(read(file, 0, 512), 1u);
  EXPECT_TRUE(readPollIsDue());
}

TEST_F(FsysPollErrandTest, TheErrandIsAPassOverAllFiles) {
  FsysSetImmediateRequestHandling(false);
  FsysFile* deferring = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(deferring->QueueReadRequest(readRequest(deferring, 0, 512, 1, true)), 1u);
  FsysFile* file = readPatternFile(L"/m/b", 4096);
  EXPECT_EQ(read(file, 0, 512, 2), 1u);
  os_->asyncIo().runErrands();
  EXPECT_EQ(started(), 2u);
}

TEST_F(FsysPollErrandTest, WhileSomebodyHasTheListThePollerIsKickedInstead) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(read(file, 0, 512), 1u);
  HeldByAnother held(FsysPeer::readLock(*theFsys));
  os_->asyncIo().runErrands();
  EXPECT_EQ(started(), 0u);
  EXPECT_TRUE(readPollIsDue());
}

TEST_F(FsysPollErrandTest, AStoppedPollerSendsNobodyAndItsErrandDoesNothing) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(read(file, 0, 512), 1u);
  readPoll()->Stop();
  EXPECT_EQ(os_->asyncIo().runErrands(), 0u);
  readPoll()->PassIfFree();
  EXPECT_EQ(started(), 0u);
  readPoll()->Rouse();
  EXPECT_EQ(os_->asyncIo().runErrands(), 0u);
}

TEST_F(FsysPollErrandTest, AnEngineThatEndsTakesItsErrandsBackBeforeItsPollersGo) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  EXPECT_EQ(read(file, 0, 512), 1u);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(os_->asyncIo().runErrands(), 0u);
}

}  // namespace
