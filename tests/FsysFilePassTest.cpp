// A file's start pass, and its synchronous side: transfers at the position, seeking.

#include "fsys/FsysFile.h"

#include "tests/FsysFileFixture.h"
#include "tests/support/AddedDrive.h"

namespace {

class FsysFilePassTest : public FsysFileFixture {};

// The start pass ---------------------------------------------------------------------------------

TEST_F(FsysFilePassTest, APassClearsTheBusyMarkOnlyIfNothingWasDeferred) {
  Qv::Ptr<MediaDrive> drive = addedDrive(L"/m/a/");
  FsysFile* file = readPatternFile(L"/m/a/", 4096);
  drive->setBusy(true);
  FsysFilePeer::setDeferred(*file, 1);
  passOverReads();
  EXPECT_TRUE(drive->isBusy());
  EXPECT_EQ(FsysFilePeer::deferred(*file), 0u) << "each pass starts the count again";
  passOverReads();
  EXPECT_FALSE(drive->isBusy());
}

TEST_F(FsysFilePassTest, APassStartsEveryQueuedRequestInOrder) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  for (int i = 0; i < 5; ++i) read(file, i * 9000L, 512, i);
  EXPECT_EQ(file->StartRequests(&FsysFilePeer::readRequests(*file)), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 5u);
  for (size_t i = 0; i < 5; ++i)
    EXPECT_EQ(os_->asyncIo().pending()[i].offset, i * 9000 / 512 * 512);
}

TEST_F(FsysFilePassTest, APassDropsOneKeptReadBeforeItStartsAndOneAfter) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  for (int i = 0; i < 6; ++i) read(file, i * 9000L, 512, i);
  passOverReads();
  os_->asyncIo().finishAll();
  auto& list = FsysFilePeer::readRequests(*file);
  ASSERT_EQ(list.size(), 6u);
  passOverReads();
  EXPECT_EQ(list.size(), 4u);
  passOverReads();
  passOverReads();
  EXPECT_EQ(list.size(), 1u) << "the first stays";
}

TEST_F(FsysFilePassTest, ARequestWithoutBufferFailsWithCode10OnTheFortiethTry) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  read(file, 0, 512);
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory, 1, FaultPlan::eFromThenOn);
  for (int tries = 1; tries < 40; ++tries) {
    passOverReads();
    ASSERT_EQ(FsysFilePeer::readRequests(*file)[0]->status(), 1u) << "try " << tries;
    ASSERT_EQ(recorder_->count(), 0u);
  }
  passOverReads();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), 10u);
  EXPECT_TRUE(FsysFilePeer::readRequests(*file).empty());
  EXPECT_EQ(file->GetReadBytesOutstanding(), 0u);
  EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
  EXPECT_EQ(texts_.log(), std::vector<std::string>{"Failed starting request ECODE        a\n"});
}

TEST_F(FsysFilePassTest, WhileOneRequestFindsNoBufferTheNextIsTried) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  read(file, 0, 512, 1);
  read(file, 9000, 512, 2);
  os_->faults().fail(FaultPlan::eAllocateRegion, eOsNoMemory);
  passOverReads();
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  EXPECT_EQ(os_->asyncIo().pending()[0].offset, 8704u);
  passOverReads();
  EXPECT_EQ(os_->asyncIo().pending().size(), 2u);
}

TEST_F(FsysFilePassTest, AFailedStartEndsThePassWith0AndTheRestWaitsForTheNext) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  read(file, 0, 512, 1);
  read(file, 9000, 512, 2);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  auto& list = FsysFilePeer::readRequests(*file);
  EXPECT_EQ(file->StartRequests(&list), 0u);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsIoError});
  EXPECT_EQ(texts_.log(), std::vector<std::string>{"Failed starting request ECODE     1005\n"});
  EXPECT_TRUE(os_->asyncIo().pending().empty());
  EXPECT_EQ(list.size(), 1u);
  EXPECT_EQ(file->GetReadBytesOutstanding(), 512u);
  EXPECT_EQ(file->StartRequests(&list), 1u);
  EXPECT_EQ(os_->asyncIo().pending().size(), 1u);
}

TEST_F(FsysFilePassTest, AFailedStartsCallbackMayQueueMoreOnItsOwnFile) {
  FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
  FsysSetCoalesceLength(file, 0);
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    for (int i = 2; i < 50; ++i) read(file, i * 9000L, 512, i);
  });
  read(file, 0, 512, 1);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  passOverReads();
  os_->advance(100);
  EXPECT_GE(recorder_->count(), 41u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(recorder_->at(40).status, eRequestSucceeded);
}

TEST_F(FsysFilePassTest, StartedRequestsAreLoggedOnlyOnRequest) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  read(file, 0, 512);
  passOverReads();
  EXPECT_TRUE(texts_.log().empty());
  SettingScope debug(EngineSettings::ShowRequestDebug, 1);
  read(file, 2048, 512);
  passOverReads();
  ASSERT_EQ(texts_.log().size(), 1u);
  EXPECT_NE(texts_.log()[0].find("/m/a"), std::string::npos);
  passOverReads();
  EXPECT_EQ(texts_.log().size(), 1u) << "nothing was started";
}

TEST_F(FsysFilePassTest, AWriteWithoutBytesIsAnsweredAsAFailureAndHoldsNothingUp) {
  FsysFile* file = openForWriting(L"/m/a");
  file->QueueWriteRequest(new FileRequest(false, 0, 0, false, false, TestHolder::ofPattern(1), file,
                                          &Recorder::told, recorder_->context()));
  passOverWrites();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_TRUE(os_->asyncIo().pending().empty());
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
}

TEST_F(FsysFilePassTest, AWriteThatGoesWhollyToTheSegmentIsAnsweredAndHoldsNothingUp) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::giveSegment(*file, Qv::Ptr<iMemHolder>(new TestHolder(512u)), 0);
  file->QueueWriteRequest(writeRequest(file, 100, 50));
  passOverWrites();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ(FsysFilePeer::pendingSegmentBytes(*file), 150u);
  EXPECT_EQ(file->GetWriteBytesOutstanding(), 0u);
}

TEST_F(FsysFilePassTest, AWriteLargerThanItsHolderNeverReachesTheSystem) {
  FsysFile* file = openForWriting(L"/m/a");
  file->QueueWriteRequest(new FileRequest(false, 1024, 0, false, false, TestHolder::ofPattern(512),
                                          file, &Recorder::told, recorder_->context()));
  passOverWrites();
  EXPECT_TRUE(os_->asyncIo().pending().empty());
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsInvalid});
}

// Synchronous transfers and seeking --------------------------------------------------------------

TEST_F(FsysFilePassTest, AReadAtThePositionMovesItByTheCountAndAFailedOneDoesNot) {
  FsysFile* file = readPatternFile(L"/m/a", 1000);
  Bytes bytes(600);
  EXPECT_EQ(file->Read(bytes.data(), 600), 1u);
  EXPECT_EQ(file->GetPosition(), 600u);
  EXPECT_EQ(whyNotPattern(bytes), "");
  EXPECT_EQ(file->Read(bytes.data(), 600), 1u) << "ends at the end of the file";
  EXPECT_EQ(whyNotPattern(bytes.data(), 400, 600), "");
  EXPECT_EQ(whyNotZeros(bytes.data() + 400, 200), "");
  EXPECT_EQ(file->GetPosition(), 1200u);
  EXPECT_EQ(file->Read(bytes.data(), 1), 0u) << "begins behind it";
  EXPECT_EQ(file->GetPosition(), 1200u);
  os_->faults().fail(FaultPlan::eRead, eOsIoError);
  file->Seek(0, eSeekFromStart);
  EXPECT_EQ(file->Read(bytes.data(), 1), uint32_t{eOsIoError});
  EXPECT_EQ(file->GetPosition(), 0u);
}

TEST_F(FsysFilePassTest, AWriteSendsTheCacheFirstAndMovesByBoth) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(300));
  Bytes bytes = patternBytes(200, 300);
  EXPECT_EQ(file->Write(bytes.data(), 200), 1u);
  EXPECT_EQ(file->GetPosition(), 500u);
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 0u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(500));
}

TEST_F(FsysFilePassTest, AWriteWhoseCacheCannotBeSentFailsAndLosesNothing) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(300));
  os_->faults().fail(FaultPlan::eWrite, eOsNoSpace);
  Bytes bytes = patternBytes(200, 300);
  EXPECT_EQ(file->Write(bytes.data(), 200), uint32_t{eOsNoSpace});
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoSpace});
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 300u);
  EXPECT_EQ(file->Write(bytes.data(), 200), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(500));
}

TEST_F(FsysFilePassTest, SeekingSendsTheCacheAndStartsFromThePositionBeforeIt) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(300));
  EXPECT_EQ(file->Seek(10, eSeekFromCurrent), 1u);
  EXPECT_EQ(file->GetPosition(), 10u) << "not 310: the position before the cache was sent counts";
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(300));
  EXPECT_EQ(file->Seek(1000, eSeekFromStart), 1u);
  EXPECT_EQ(file->GetPosition(), 1000u);
  EXPECT_EQ(file->Seek(-400, static_cast<SEEK_TYPE>(7)), 1u) << "any other value adds";
  EXPECT_EQ(file->GetPosition(), 600u);
}

TEST_F(FsysFilePassTest, WhatIsWrittenAfterASeekLandsWhereTheSeekWent) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  file->Seek(1000, eSeekFromStart);
  write(file, TestHolder::ofPattern(50, 1000));
  FsysClose(file, nullptr);
  Bytes bytes = os_->files().bytesOf(L"/m/a");
  ASSERT_EQ(bytes.size(), 1050u);
  EXPECT_EQ(whyNotPattern(bytes.data(), 100, 0), "");
  EXPECT_EQ(whyNotPattern(bytes.data() + 1000, 50, 1000), "");
}

TEST_F(FsysFilePassTest, BytesThatASeekCouldNotSendDoNotEndUpElsewhere) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(100));
  os_->faults().fail(FaultPlan::eWrite, eOsIoError);
  EXPECT_EQ(file->Seek(1000, eSeekFromStart), 1u);
  write(file, TestHolder::ofPattern(50, 1000));
  FsysClose(file, nullptr);
  Bytes bytes = os_->files().bytesOf(L"/m/a");
  ASSERT_EQ(bytes.size(), 1050u);
  EXPECT_EQ(whyNotPattern(bytes.data(), 100, 0), "");
  EXPECT_EQ(whyNotPattern(bytes.data() + 1000, 50, 1000), "");
}

}  // namespace
