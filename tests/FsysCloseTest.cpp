// Closing files, and the end of an engine with files left open.

#include "fsys/WriteMemRef.h"
#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"

namespace {

class FsysCloseTest : public EngineFixture {
protected:
  // Starts what is queued and never finishes it.
  void startReadsAndHold() {
    os_->asyncIo().hold(true);
    passOverReads();
  }
  void startWritesAndHold() {
    os_->asyncIo().hold(true);
    passOverWrites();
  }
};

TEST_F(FsysCloseTest, ClosingTakesTheFileOffItsListAndLetsEverythingGo) {
  FsysFile* file = readPatternFile(L"/m/a", 8192);
  read(file, 0, 4096);
  os_->run();
  EXPECT_GT(os_->memory().regions(), 0u) << "the finished read is kept";
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_TRUE(FsysPeer::readFiles(*theFsys).empty());
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

TEST_F(FsysCloseTest, ClosingWritesWhatTheCacheHolds) {
  FsysFile* file = openForWriting(L"/m/a");
  EXPECT_EQ(write(file, TestHolder::ofPattern(1000)), 1u);
  EXPECT_TRUE(os_->files().bytesOf(L"/m/a").empty());
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(1000));
  EXPECT_EQ(os_->memory().regions(), 0u);
}

TEST_F(FsysCloseTest, ThePendingSegmentIsSentAsAWholeSectorPaddedWithZeros) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(1024));
  os_->run();
  Qv::Ptr<iMemHolder> segment = TestHolder::ofPattern(512, 1024);
  FsysFilePeer::giveSegment(*file, segment, 100);
  FsysFilePeer::setPosition(*file, 1124);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  Bytes expected = patternBytes(1124);
  expected.resize(1536, 0);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), expected);
}

TEST_F(FsysCloseTest, ASegmentThatCannotBeSentKeepsTheFileOpenAndListed) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysFilePeer::giveSegment(*file, TestHolder::ofPattern(512), 100);
  FsysFilePeer::setPosition(*file, 100);
  os_->faults().fail(FaultPlan::eStartWrite, eOsIoError);
  EXPECT_EQ(FsysClose(file, nullptr), uint32_t{eOsIoError});
  EXPECT_EQ(FsysPeer::writeFiles(*theFsys).size(), 1u);
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u) << "the next try sends it";
  EXPECT_EQ(os_->files().bytesOf(L"/m/a").size(), 512u);
}

TEST_F(FsysCloseTest, AStuckWriteIsWaitedFor29StepsOf100MsAndReported) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512));
  startWritesAndHold();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->threads().sleeps(), std::vector<uint32_t>(29, 100u));
  std::vector<TestDiagnostics::Splat> drain(2, {0, "Timed out waiting for write completion\n"});
  drain.push_back({8, "Outstanding writes not completed"});
  EXPECT_EQ(texts_.splats(), drain);
  ASSERT_EQ(recorder_->count(), 1u) << "its caller is told";
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsCancelled});
  EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
  os_->asyncIo().finishAll();
  EXPECT_EQ(os_->asyncIo().lateDropped(), 1u) << "the late completion finds nobody";
  EXPECT_EQ(recorder_->count(), 1u);
}

TEST_F(FsysCloseTest, EveryStuckWriteIsReportedOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  write(file, TestHolder::ofPattern(512));
  write(file, TestHolder::ofPattern(512, 512));
  startWritesAndHold();
  FsysClose(file, nullptr);
  std::vector<TestDiagnostics::Splat> reports;
  for (const TestDiagnostics::Splat& splat : texts_.splats())
    if (splat.level == 8) reports.push_back(splat);
  EXPECT_EQ(reports.size(), 2u);
}

TEST_F(FsysCloseTest, FinishedRequestsCountAgainstTheBudgetOf29Examinations) {
  FsysFile* file = readPatternFile(L"/m/a", 100000);
  FsysSetCoalesceLength(file, 0);
  for (int i = 0; i < 3; ++i) {
    read(file, i * 8192, 512);
    os_->run();
  }
  // A pass leaves one finished read before it: each restart looks at two, so 29 examinations are
  // 14 waits.
  read(file, 50000, 512);
  startReadsAndHold();
  ASSERT_EQ(FsysFilePeer::readRequests(*file).size(), 2u);
  FsysClose(file, nullptr);
  EXPECT_EQ(os_->threads().sleeps().size(), 14u);
}

TEST_F(FsysCloseTest, AStuckReadIsWaitedForAndItsCallerToldOnce) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  read(file, 0, 512);
  startReadsAndHold();
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->threads().sleeps().size(), 29u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  EXPECT_GT(os_->memory().regions(), 0u) << "the system may still write to the block";
  os_->asyncIo().finishAll();
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_EQ(recorder_->count(), 1u);
}

TEST_F(FsysCloseTest, AClosingFileWaitsForAReadThatEndsMeanwhile) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  read(file, 0, 512);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
}

TEST_F(FsysCloseTest, AFailedStartsCallbackMayCloseItsOwnFileUnderThePollersLocks) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  FsysFile* next = readPatternFile(L"/m/b", 4096);
  recorder_->onCall([file](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
  });
  read(file, 0, 512, 1);
  read(next, 0, 512, 2);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  passOverReads();
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_EQ(os_->asyncIo().pending().size(), 1u) << "the pass goes on with the next file";
  os_->run();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(FsysPeer::readFiles(*theFsys).size(), 1u);
}

// The end of the engine --------------------------------------------------------------------------

TEST_F(FsysCloseTest, DestroyingAnEngineWithFourOpenReadFilesClosesTwoOfThem) {
  std::vector<FsysFile*> files;
  for (const wchar_t* name : {L"/m/0", L"/m/1", L"/m/2", L"/m/3"}) {
    files.push_back(readPatternFile(name, 1024));
    read(files.back(), 0, 512, static_cast<int>(files.size()) - 1);
  }
  startReadsAndHold();
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{0, 2}))
      << "who is closed tells its callers; who is left calls nobody";
  for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestFailed);
  EXPECT_EQ(files[1]->GetName(), Text(L"/m/1"));
  EXPECT_EQ(files[3]->GetName(), Text(L"/m/3"));
}

TEST_F(FsysCloseTest, DestroyingAnEngineWithFourOpenWriteFilesClosesTwoOfThem) {
  std::vector<FsysFile*> files;
  for (const wchar_t* name : {L"/m/0", L"/m/1", L"/m/2", L"/m/3"}) {
    files.push_back(openForWriting(name));
    write(files.back(), TestHolder::ofPattern(512), static_cast<int>(files.size()) - 1);
  }
  startWritesAndHold();
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{0, 2}));
  for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestFailed);
  EXPECT_EQ(files[1]->GetName(), Text(L"/m/1"));
  EXPECT_EQ(files[3]->GetName(), Text(L"/m/3"));
}

TEST_F(FsysCloseTest, AFileThatIsLeftOpenIsInert) {
  readPatternFile(L"/m/0", 4096);
  FsysFile* left = readPatternFile(L"/m/1", 4096);
  read(left, 0, 512);
  passOverReads();
  os_->asyncIo().hold(true);
  FsysUninitialize(Shutdown::eNormal);
  os_->asyncIo().finishAll();
  EXPECT_EQ(recorder_->count(), 0u) << "nobody is called once the engine is gone";
  EXPECT_EQ(read(left, 0, 512), 0u);
  char byte = 0;
  EXPECT_NE(left->Read(&byte, 1), 1u);
  EXPECT_NE(left->Write(&byte, 1), 1u);
  left->WaitForDrain();
  EXPECT_EQ(left->Seek(5, eSeekFromStart), 1u);
  EXPECT_EQ(FsysClose(left, nullptr), 0u);
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

TEST_F(FsysCloseTest, ALeftOpenFileWhoseWritesNeverEndedHasNothingToDrain) {
  openForWriting(L"/m/0");
  FsysFile* left = openForWriting(L"/m/1");
  write(left, TestHolder::ofPattern(512));
  startWritesAndHold();
  // A write that is in no list, too.
  FsysFilePeer::giveSegment(*left, TestHolder::ofPattern(512, 512), 100);
  FsysFilePeer::setPosition(*left, 612);
  FsysUninitialize(Shutdown::eNormal);
  ASSERT_EQ(os_->asyncIo().pending().size(), 2u);
  EXPECT_FALSE(texts_.splats().empty()) << "the engine's end waited for them in vain";
  texts_.clear();
  double before_ms = Qv::now();
  left->WaitForDrain();
  EXPECT_EQ(Qv::now(), before_ms);
  EXPECT_TRUE(texts_.splats().empty());
  EXPECT_EQ(left->GetWriteBytesOutstanding(), 0u);
  // Its receiver has ended, so nobody else lets it go.
  static_cast<FileRequest*>(os_->asyncIo().pending()[1].request)->release();
}

TEST_F(FsysCloseTest, WhatALeftOpenFileHoldsIsStillWritten) {
  FsysFile* first = openForWriting(L"/m/0");
  FsysFile* left = openForWriting(L"/m/1");
  write(first, TestHolder::ofPattern(100));
  write(left, TestHolder::ofPattern(700));
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(os_->files().bytesOf(L"/m/0"), patternBytes(100));
  EXPECT_EQ(os_->files().bytesOf(L"/m/1"), patternBytes(700));
}

TEST_F(FsysCloseTest, QueuedWritesOfAllFilesAreWrittenBeforeTheEngineGoes) {
  FsysFile* first = openForWriting(L"/m/0");
  FsysFile* left = openForWriting(L"/m/1");
  write(first, TestHolder::ofPattern(1024));
  write(left, TestHolder::ofPattern(2048));
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(os_->files().bytesOf(L"/m/0"), patternBytes(1024));
  EXPECT_EQ(os_->files().bytesOf(L"/m/1"), patternBytes(2048));
  EXPECT_EQ(recorder_->count(), 2u);
  EXPECT_TRUE(texts_.splats().empty());
}

TEST_F(FsysCloseTest, ReadsThatAreStillQueuedAsTheEngineEndsAreStartedAndAnswered) {
  FsysFile* file = readPatternFile(L"/m/0", 4096);
  read(file, 0, 512);
  FsysUninitialize(Shutdown::eNormal);
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
}

TEST_F(FsysCloseTest, TheEngineEndsItsThreadsItsPortsAndItsMemory) {
  readPatternFile(L"/m/0", 4096);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(os_->threads().count(), 0u);
  EXPECT_EQ(os_->asyncIo().livePorts(), 0u);
  EXPECT_EQ(os_->memory().regions(), 0u);
}

}  // namespace
