// Draining a file: what it waits for, and what it does not wait for inside a callback.

#include "tests/FsysFileFixture.h"

namespace {

class FsysFileDrainTest : public FsysFileFixture {
protected:
  // Well below the 4000 ms after which a drain that nobody ends gives up.
  static constexpr double kSoon_ms = 100;

  static bool drainIsSignalled(FsysFile* file) {
    return dynamic_cast<FakeEvent&>(FsysFilePeer::drainEvent(*file)).isSignalled();
  }
  // Every callback drains the file, and must not wait for it.
  void drainInCallbacks(FsysFile* file) {
    recorder_->onCall([this, file](const Recorder::Call&) {
      double before_ms = Qv::now();
      file->WaitForDrain();
      EXPECT_EQ(Qv::now(), before_ms);
      EXPECT_TRUE(texts_.splats().empty());
    });
  }
};

TEST_F(FsysFileDrainTest, DrainingAFileWithoutOutstandingWritesReturnsAtOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  double before = Qv::now();
  file->WaitForDrain();
  EXPECT_EQ(Qv::now(), before);
  EXPECT_TRUE(texts_.splats().empty());
}

TEST_F(FsysFileDrainTest, DrainingWritesTheHeldBytesOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(700));
  os_->files().clearRecords();
  file->WaitForDrain();
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().transfers()[0].bytes, 700u);
  EXPECT_EQ(file->GetPosition(), 700u);
  file->WaitForDrain();
  EXPECT_EQ(os_->files().transfers().size(), 1u);
}

TEST_F(FsysFileDrainTest, DrainingWaitsForWritesInFlight) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512));
  double before_ms = Qv::now();
  file->WaitForDrain();
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_LT(Qv::now() - before_ms, kSoon_ms) << "the end of the write ends the wait";
  EXPECT_TRUE(texts_.splats().empty());
}

TEST_F(FsysFileDrainTest, DrainingGivesUpAfter4000Ms) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 1);
  double before = Qv::now();
  file->WaitForDrain();
  EXPECT_NEAR(Qv::now() - before, 4000, 2);
  TestDiagnostics::Splat expected{0, "Timed out waiting for write completion\n"};
  EXPECT_EQ(texts_.splats(), std::vector<TestDiagnostics::Splat>{expected});
}

TEST_F(FsysFileDrainTest, ASignalThatIsLeftOverFromEarlierWritesEndsNoDrain) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512), 1);
  os_->run();
  EXPECT_TRUE(drainIsSignalled(file));
  write(file, TestHolder::ofPattern(512, 512), 2);
  double before_ms = Qv::now();
  file->WaitForDrain();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_LT(Qv::now() - before_ms, kSoon_ms);
}

// The drain event ---------------------------------------------------------------------------------

TEST_F(FsysFileDrainTest, TheDrainEventIsSignalledWhileNoWriteIsOutstandingAndResetOtherwise) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::drainEvent(*file).signal();
  FsysFilePeer::addWriteBytes(*file, 1);
  file->CheckOutstandingWrites();
  EXPECT_FALSE(drainIsSignalled(file));
  FsysFilePeer::addWriteBytes(*file, -1);
  EXPECT_FALSE(drainIsSignalled(file));
  file->CheckOutstandingWrites();
  EXPECT_TRUE(drainIsSignalled(file));
}

TEST_F(FsysFileDrainTest, OnlyTheLastOfTwoWritesSignalsTheDrainEvent) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 2);
  FsysFilePeer::drainEvent(*file).reset();
  os_->asyncIo().finish(0);
  EXPECT_FALSE(drainIsSignalled(file));
  os_->asyncIo().finish(0);
  EXPECT_TRUE(drainIsSignalled(file));
}

// Inside a callback -------------------------------------------------------------------------------

TEST_F(FsysFileDrainTest, AWritesCallbackDrainsWithoutWaitingForThatWrite) {
  FsysFile* file = openForWriting(L"/m/a");
  drainInCallbacks(file);
  write(file, TestHolder::ofPattern(512));
  os_->run();
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
}

TEST_F(FsysFileDrainTest, AFailedWritesCallbackDrainsWithoutWaitingForThatWrite) {
  FsysFile* file = openForWriting(L"/m/a");
  drainInCallbacks(file);
  write(file, TestHolder::ofPattern(512));
  os_->faults().fail(FaultPlan::eFinishWrite, eOsNoSpace);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
}

TEST_F(FsysFileDrainTest, TheCallbackOfAWriteThatCouldNotBeStartedDrainsWithoutWaiting) {
  FsysFile* file = openForWriting(L"/m/a");
  drainInCallbacks(file);
  write(file, TestHolder::ofPattern(512));
  os_->faults().fail(FaultPlan::eStartWrite, eOsNoSpace);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
}

TEST_F(FsysFileDrainTest, AnAbsorbedWritesCallbackDrainsAndItsBytesAreWrittenOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  drainInCallbacks(file);
  write(file, TestHolder::ofPattern(100));
  EXPECT_EQ(recorder_->count(), 1u);
  ASSERT_EQ(os_->files().transfers().size(), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(100));
  EXPECT_EQ(write(file, TestHolder::ofPattern(100, 100)), 1u);
  EXPECT_EQ(os_->files().transfers().size(), 2u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(200));
}

}  // namespace
