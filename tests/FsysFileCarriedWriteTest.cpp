// Writes that their caller waits for, on a drive where he transfers them himself.

#include "tests/FileRequestPeer.h"
#include "tests/FsysFileDirectFixture.h"
#include "tests/FsysFileFixture.h"

namespace {

class FsysFileCarriedWriteTest : public FsysFileFixture {
protected:
  void SetUp() override {
    FsysFileFixture::SetUp();
    os_->files().setDrive(L"/c/", {.transfersByCaller = true});
  }
  FsysFile* openCarried() { return openForWriting(L"/c/a"); }
  // The ways of the transfers that were made, in order.
  std::vector<FakeTransferRecord::eWay> ways() {
    std::vector<FakeTransferRecord::eWay> ways;
    for (const FakeTransferRecord& record : os_->files().transfers()) ways.push_back(record.way);
    return ways;
  }
  static std::vector<FakeTransferRecord::eWay> only(FakeTransferRecord::eWay way) { return {way}; }
  // A write that somebody waits for, put in the list and started by a pass of the poller.
  Qv::Ptr<FakeEvent> addStarted(FsysFile* file, int ticket) {
    FileRequest* request = writeRequest(file, 0, 512, ticket, false, true);
    FileRequestPeer::setCarriedByCaller(*request);
    request->setStatus(FileRequest::QUEUED);
    FsysFilePeer::writeRequests(*file).add(request);
    FsysFilePeer::addWriteBytes(*file, 512);
    passOverWrites();
    EXPECT_EQ(request->status(), FileRequest::STARTED);
    return Qv::Ptr<FakeEvent>(dynamic_cast<FakeEvent*>(FileRequestPeer::waiter(*request).get()));
  }
};

TEST_F(FsysFileCarriedWriteTest, ASynchronousWriteIsMadeOnTheSpotAndKicksNobody) {
  FsysFile* file = openCarried();
  os_->asyncIo().hold(true);
  double before = Qv::now();
  EXPECT_EQ(write(file, TestHolder::ofPattern(1024), 1, true), 1u);
  EXPECT_EQ(Qv::now(), before) << "it waited for nobody's pass";
  EXPECT_EQ(ways(), only(FakeTransferRecord::eAtOffset));
  EXPECT_FALSE(writePollIsDue());
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ(os_->files().bytesOf(L"/c/a"), patternBytes(1024));
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
}

TEST_F(FsysFileCarriedWriteTest, AWriteThatNobodyWaitsForIsLeftToThePoller) {
  FsysFile* file = openCarried();
  EXPECT_EQ(write(file, TestHolder::ofPattern(1024), 1), 1u);
  EXPECT_TRUE(writePollIsDue());
  EXPECT_EQ(recorder_->count(), 0u);
  passOverWrites();
  EXPECT_EQ(ways(), only(FakeTransferRecord::eAsync));
}

TEST_F(FsysFileCarriedWriteTest, WhatIsStagedGoesOutBehindInOneWriteAndTheRestIsHeld) {
  FsysFile* file = openCarried();
  EXPECT_EQ(write(file, TestHolder::ofPattern(kStaged + 1)), 1u);
  EXPECT_EQ(ways(), only(FakeTransferRecord::eBehind));
  EXPECT_EQ(os_->files().transfers()[0].bytes, kStaged);
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/c/a"), patternBytes(kStaged + 1));
}

TEST_F(FsysFileCarriedWriteTest, AFileThatWroteBehindIsSettledOnceAsItIsClosed) {
  FsysFile* file = openCarried();
  write(file, TestHolder::ofPattern(kStaged + 1));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eSettle), 0u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eSettle), 1u);
  EXPECT_TRUE(texts_.log().empty());
}

TEST_F(FsysFileCarriedWriteTest, AFileThatDidNotWriteBehindIsNotSettled) {
  FsysFile* file = openCarried();
  write(file, TestHolder::ofPattern(1024), 1, true);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eSettle), 0u);
}

TEST_F(FsysFileCarriedWriteTest, WhatDoesNotReachTheDiskIsSaidAsTheFileIsClosed) {
  FsysFile* file = openCarried();
  write(file, TestHolder::ofPattern(kStaged + 1));
  os_->faults().fail(FaultPlan::eSettle, eOsIoError);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(texts_.log(),
            std::vector<std::string>{"Not all of /c/a reached its disk: error 0x1005\n"});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsIoError});
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

TEST_F(FsysFileCarriedWriteTest, AFailureIsToldToTheCallbackAndTheNextWriteGoesOn) {
  FsysFile* file = openCarried();
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1, true), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
  EXPECT_EQ(write(file, TestHolder::ofPattern(512, 512), 2, true), 1u);
  ASSERT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
  EXPECT_TRUE(FsysFilePeer::writeRequests(*file).size() <= 1u) << "what failed was swept";
}

// The first pass stops at the request before it, whose start fails.
TEST_F(FsysFileCarriedWriteTest, AWriteThatItsOwnPassDoesNotReachIsStartedByThePollerAndMadeByIt) {
  FsysFile* file = openCarried();
  EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1), 1u);
  os_->faults().fail(FaultPlan::eStartWrite, eOsIoError);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512, 512), 2, true), 1u);
  ASSERT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(recorder_->at(1).ticket, 2);
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
  EXPECT_EQ(os_->files().transfers().back().way, FakeTransferRecord::eAtOffset);
}

TEST_F(FsysFileCarriedWriteTest, ItsPassStartsWhatWasQueuedBeforeItAndWhatItsCallbackQueued) {
  FsysFile* file = openCarried();
  os_->asyncIo().hold(true);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1), 1u);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 2) write(file, TestHolder::ofPattern(512, 1024), 3);
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(512, 512), 2, true), 1u);
  std::vector<FakeTransferRecord::eWay> expected = {
      FakeTransferRecord::eAsync, FakeTransferRecord::eAtOffset, FakeTransferRecord::eAsync};
  EXPECT_EQ(ways(), expected);
}

TEST_F(FsysFileCarriedWriteTest, ACallbacksSynchronousWriteIsNotCarriedByIt) {
  FsysFile* file = openCarried();
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 1) write(file, TestHolder::ofPattern(512, 512), 2, true);
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(512), 1, true), 1u);
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(os_->files().transfers().back().way, FakeTransferRecord::eAsync);
  os_->run();
  EXPECT_EQ(recorder_->count(), 2u);
}

TEST_F(FsysFileCarriedWriteTest, AStartedWriteThatIsGivenUpIsNotMadeAndToldOnce) {
  FsysFile* file = openCarried();
  Qv::Ptr<FakeEvent> waiter = addStarted(file, 1);
  EXPECT_TRUE(waiter->isSignalled()) << "its caller is to make it";
  waiter->reset();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(waiter->isSignalled()) << "its caller goes on";
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_TRUE(os_->files().transfers().empty());
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
}

TEST_F(FsysFileCarriedWriteTest, WithoutADriveThatAsksForItThePollersPassStartsIt) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1024), 1, true), 1u);
  EXPECT_EQ(ways(), only(FakeTransferRecord::eAsync));
}

}  // namespace
