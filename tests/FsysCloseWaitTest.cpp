// What a close waits for, and what it gives up.

#include "tests/FileRequestPeer.h"
#include "tests/FsysFileFixture.h"

namespace {

class FsysCloseWaitTest : public FsysFileFixture {};

// What is waited for ------------------------------------------------------------------------------

struct WaitCase {
  uint32_t status;
  bool isRead;
  size_t sleeps;
};

class CloseWaitsForTest : public FsysCloseWaitTest, public testing::WithParamInterface<WaitCase> {};

TEST_P(CloseWaitsForTest, UnfinishedRequestsAndNoOthers) {
  const auto [status, isRead, sleeps] = GetParam();
  FsysFile* file = isRead ? readPatternFile(L"/m/a", 4096) : openForWriting(L"/m/a");
  FileRequest* request = isRead ? readRequest(file, 0, 512) : writeRequest(file, 0, 512);
  request->setStatus(status);
  (isRead ? FsysFilePeer::readRequests(*file) : FsysFilePeer::writeRequests(*file)).add(request);
  if (status == FileRequest::FAILED && isRead) FsysFilePeer::addReadBytes(*file, 512);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>(sleeps, 100u));
  EXPECT_EQ(os_->threads().yields(), status == FileRequest::SUCCEEDED ? 100u : 0u);
  EXPECT_EQ(texts_.splats().size(), sleeps > 0 && !isRead ? 1u : 0u) << "stuck writes are reported";
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
}

INSTANTIATE_TEST_SUITE_P(Statuses, CloseWaitsForTest,
                         testing::Values(WaitCase{FileRequest::CONSTRUCTED, true, 29},
                                         WaitCase{FileRequest::SUCCEEDED, true, 29},
                                         WaitCase{FileRequest::COMPLETED, true, 0},
                                         WaitCase{FileRequest::FAILED, true, 0},
                                         WaitCase{FileRequest::TOO_SLOW, true, 0},
                                         WaitCase{FileRequest::CONSTRUCTED, false, 29},
                                         WaitCase{FileRequest::SUCCEEDED, false, 29},
                                         WaitCase{FileRequest::COMPLETED, false, 0},
                                         WaitCase{FileRequest::TOO_SLOW, false, 0}),
                         [](const auto& test) {
                           return std::string(test.param.isRead ? "Read" : "Write") +
                                  std::to_string(test.param.status);
                         });

// Of a request whose callers were told how it ended, and whose teller is done at the third yield.
class CloseGivesWayTest : public FsysCloseWaitTest, public testing::WithParamInterface<bool> {
protected:
  void closeWhileIsTold(bool succeeded) {
    FsysFile* file = GetParam() ? readPatternFile(L"/m/a", 4096) : openForWriting(L"/m/b");
    FileRequest* request = GetParam() ? readRequest(file, 0, 512) : writeRequest(file, 0, 512);
    request->setStatus(succeeded ? FileRequest::SUCCEEDED : FileRequest::STARTED);
    if (!succeeded) request->NotifyError(eOsIoError, 0);
    listOf(file).add(request);
    os_->threads().onYield([this, request, succeeded] {
      if (os_->threads().yields() == 3)
        request->setStatus(succeeded ? FileRequest::COMPLETED : FileRequest::FAILED);
    });
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(os_->threads().yields(), 3u);
    EXPECT_TRUE(os_->threads().sleeps().empty());
  }

private:
  static FsysFile::RequestList& listOf(FsysFile* file) {
    return GetParam() ? FsysFilePeer::readRequests(*file) : FsysFilePeer::writeRequests(*file);
  }
};

TEST_P(CloseGivesWayTest, ThoseWhoAreToldMayCloseBeforeTheTellerIsDoneAndNobodySleeps) {
  closeWhileIsTold(true);
}

TEST_P(CloseGivesWayTest, SoMayThoseWhoAreToldOfAFailure) { closeWhileIsTold(false); }

INSTANTIATE_TEST_SUITE_P(Directions, CloseGivesWayTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Read" : "Write"; });

TEST_F(FsysCloseWaitTest, AFailedWriteThatNoPassHasSweptIsNotSleptFor) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 1);
  os_->asyncIo().hold(false);
  os_->faults().fail(FaultPlan::eFinishWrite, eOsIoError);
  os_->asyncIo().finishAll();
  ASSERT_EQ(FsysFilePeer::writeRequests(*file)[0]->status(), FileRequest::FAILED);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
  EXPECT_TRUE(texts_.splats().empty());
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
}

// What is given up --------------------------------------------------------------------------------

TEST_F(FsysCloseWaitTest, WhatIsGivenUpLeavesTheListBeforeAnybodyIsTold) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  // So short a wait that the poller's passes do not come to an end of their tries.
  SettingScope wait(EngineSettings::WritePollDelay, 1);
  os_->asyncIo().hold(true);
  read(file, 0, 512, 1);
  passOverReads();
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  read(file, 9000, 512, 2);
  read(file, 18000, 512, 3);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
    EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
    // A pass such as a completion thread makes, now that it would find a buffer.
    os_->faults().clear();
    EXPECT_EQ(file->StartRequests(&FsysFilePeer::readRequests(*file)), 1u);
  });
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->asyncIo().pending().size(), 1u) << "the one that was stuck; none was started";
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2, 3}));
  for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsCancelled});
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
  os_->asyncIo().finishAll();
  EXPECT_EQ(os_->asyncIo().lateDropped(), 1u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u) << "nothing is taken off twice";
  EXPECT_EQ(os_->memory().regions(), 0u);
}

TEST_F(FsysCloseWaitTest, WritesThatAreGivenUpAreTakenOffOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  fillWriteList(file, 3);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(recorder_->count(), 3u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
  os_->asyncIo().finishAll();
  EXPECT_EQ(os_->asyncIo().lateDropped(), 3u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
  EXPECT_EQ(recorder_->count(), 3u);
}

TEST_F(FsysCloseWaitTest, WhatAShareHoldsGoesAlsoWithoutMemoryForAWaiter) {
  os_->files().setDrive(L"/n/", {.type = iDiskDrive::eNetwork});
  FsysFile* file = openForWriting(L"/n/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eCreateEvent, eOsNoMemory);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->faults().fired(FaultPlan::eCreateEvent), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/n/a"), patternBytes(100));
}

TEST_F(FsysCloseWaitTest, HeldBytesThatCannotBeWrittenAreNamedAndTheFileIsClosed) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace, 1, FaultPlan::eFromThenOn);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(texts_.log(),
            std::vector<std::string>{"The last 100 bytes of /m/a could not be written\n"});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

TEST_F(FsysCloseWaitTest, HeldBytesThatCanBeWrittenOnTheSecondTryAreNotNamed) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(texts_.log().empty());
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(100));
}

// Giving up the reads of an open file -------------------------------------------------------------

class ClearMemoryRefsTest : public FsysFileFixture {
protected:
  // A synchronous read that nobody waits for here, queued by hand.
  Qv::Ptr<FakeEvent> addSynchronousRead(FsysFile* file, uint64_t offset) {
    FileRequest* request = readRequest(file, offset, 512, 0, false, true);
    request->setStatus(FileRequest::QUEUED);
    FsysFilePeer::readRequests(*file).add(request);
    FsysFilePeer::addReadBytes(*file, 512);
    return Qv::Ptr<FakeEvent>(dynamic_cast<FakeEvent*>(FileRequestPeer::waiter(*request).get()));
  }
};

TEST_F(ClearMemoryRefsTest, WhoWaitsForAReadGoesOnAndNothingStaysCounted) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  os_->asyncIo().hold(true);
  Qv::Ptr<FakeEvent> failed = addSynchronousRead(file, 0);
  Qv::Ptr<FakeEvent> started = addSynchronousRead(file, 9000);
  passOverReads();
  os_->asyncIo().fail(0, eOsIoError);
  Qv::Ptr<FakeEvent> queued = addSynchronousRead(file, 18000);
  auto& list = FsysFilePeer::readRequests(*file);
  ASSERT_EQ(list[0]->status(), FileRequest::FAILED);
  ASSERT_EQ(list[1]->status(), FileRequest::STARTED);
  ASSERT_EQ(list[2]->status(), FileRequest::QUEUED);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 1536u);
  EXPECT_FALSE(started->isSignalled() || queued->isSignalled());

  EXPECT_EQ(file->ClearMemoryRefs(), 1u);
  EXPECT_TRUE(list.empty());
  EXPECT_TRUE(failed->isSignalled());
  EXPECT_TRUE(started->isSignalled());
  EXPECT_TRUE(queued->isSignalled());
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);

  os_->asyncIo().finishAll();
  EXPECT_EQ(os_->asyncIo().lateDropped(), 1u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
  os_->asyncIo().hold(false);
  recorder_->clear();
  EXPECT_EQ(read(file, 0, 512), 1u) << "the file reads on";
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
}

}  // namespace
