#include "fsys/FsysPoll.h"

#include <memory>
#include <utility>

#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"
#include "tests/support/AddedDrive.h"
#include "tests/support/FailingHeap.h"
#include "tests/support/LockProbe.h"

namespace {

class FsysPollTest : public EngineFixture {
protected:
  const FakeThreads::Thread& thread(const FsysPoll* poll) {
    return *os_->threads().thread(FsysPollPeer::threadId(*poll));
  }
};

TEST_F(FsysPollTest, ItsThreadIsCalledFsysPoll) {
  EXPECT_EQ(os_->threads().findAll("fsys poll").size(), 2u);
}

TEST_F(FsysPollTest, AnIdlePollerPassesOnceADelay) {
  FsysPoll* poll = FsysPeer::readPoll(*theFsys);
  os_->run();
  unsigned before = thread(poll).runs;
  os_->advance(500);
  EXPECT_EQ(thread(poll).runs, before + 10) << "every 50 ms";
}

TEST_F(FsysPollTest, AKickMakesTheNextPassStartAtOnce) {
  FsysPoll* poll = FsysPeer::readPoll(*theFsys);
  os_->run();
  unsigned before = thread(poll).runs;
  poll->Kick();
  os_->run();
  EXPECT_EQ(thread(poll).runs, before + 1);
}

TEST_F(FsysPollTest, AfterAPassThatStartedWritesTheNextOnesComeSoonerAndThenAtTheDelayAgain) {
  FsysFile* file = openForWriting(L"/m/a");
  FsysPoll* poll = FsysPeer::writePoll(*theFsys);
  os_->run();
  write(file, TestHolder::ofPattern(512));
  os_->run();
  unsigned before = thread(poll).runs;
  os_->advance(3);
  EXPECT_EQ(thread(poll).runs, before + 2) << "after 1 ms, and 2 ms after that";
  os_->advance(1000);
  before = thread(poll).runs;
  os_->advance(100);
  EXPECT_EQ(thread(poll).runs, before + 2);
}

TEST_F(FsysPollTest, PassesOverReadsKeepToTheDelaySinceEachDropsKeptOnes) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  FsysPoll* poll = FsysPeer::readPoll(*theFsys);
  os_->run();
  read(file, 0, 512);
  os_->run();
  unsigned before = thread(poll).runs;
  os_->advance(49);
  EXPECT_EQ(thread(poll).runs, before);
  os_->advance(1);
  EXPECT_EQ(thread(poll).runs, before + 1);
}

TEST_F(FsysPollTest, APassStartsTheReadsOrTheWritesOfItsOwnList) {
  FsysFile* reading = readPatternFile(L"/m/a", 4096);
  FsysFile* writing = openForWriting(L"/m/b");
  read(reading, 0, 512);
  write(writing, TestHolder::ofPattern(512));
  EXPECT_EQ(FsysPeer::readPoll(*theFsys)->Polltasks(), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  EXPECT_FALSE(os_->asyncIo().pending()[0].write);
  EXPECT_EQ(FsysPeer::writePoll(*theFsys)->Polltasks(), 1u);
  ASSERT_EQ(os_->asyncIo().pending().size(), 2u);
  EXPECT_TRUE(os_->asyncIo().pending()[1].write);
}

TEST_F(FsysPollTest, APassWalksTheFilesInListOrder) {
  FsysFile* first = readPatternFile(L"/m/a", 4096);
  FsysFile* second = readPatternFile(L"/m/b", 4096);
  read(second, 0, 512, 2);
  read(first, 0, 512, 1);
  passOverReads();
  ASSERT_EQ(os_->asyncIo().pending().size(), 2u);
  EXPECT_EQ(os_->asyncIo().pending()[0].path, L"/m/a");
  EXPECT_EQ(os_->asyncIo().pending()[1].path, L"/m/b");
}

TEST_F(FsysPollTest, AFileThatIsClosedByACallbackInAPassDoesNotHideTheNext) {
  FsysFile* first = readPatternFile(L"/m/a", 4096);
  FsysFile* second = readPatternFile(L"/m/b", 4096);
  FsysFile* third = readPatternFile(L"/m/c", 4096);
  recorder_->onCall([first](const Recorder::Call& call) {
    if (call.ticket == 2) FsysClose(first, nullptr);
  });
  read(second, 0, 512, 2);
  read(third, 0, 512, 3);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  passOverReads();
  ASSERT_EQ(os_->asyncIo().pending().size(), 1u);
  EXPECT_EQ(os_->asyncIo().pending()[0].path, L"/m/c");
}

TEST_F(FsysPollTest, APollerThatIsDestroyedWhileItWaitsMakesNoFurtherPass) {
  Vector<FsysFile*> files;
  CriticalSection lock;
  auto* poll = new FsysPoll(&files, &lock, true, 50, 50);
  os_->run();
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  files.add(file);
  read(file, 0, 512);
  delete poll;
  EXPECT_TRUE(os_->asyncIo().pending().empty());
}

// Being stopped -----------------------------------------------------------------------------------

// A poller over two files of the engine's, beside the engine's own.
class StoppedPollTest : public FsysPollTest {
protected:
  void SetUp() override {
    FsysPollTest::SetUp();
    os_->run();
    for (const wchar_t* name : {L"/m/a", L"/m/b"}) {
      files_.add(readPatternFile(name, 4096));
      read(files_[files_.size() - 1], 0, 512, static_cast<int>(files_.size()));
    }
    poll_ = std::make_unique<FsysPoll>(&files_, &lock_, true, 50u, 7u);
  }
  void TearDown() override {
    poll_.reset();
    FsysPollTest::TearDown();
  }

  Vector<FsysFile*> files_;
  CriticalSection lock_;
  std::unique_ptr<FsysPoll> poll_;
};

TEST_F(StoppedPollTest, AStoppedPollersThreadHasEnded) {
  uint32_t id = FsysPollPeer::threadId(*poll_);
  ASSERT_NE(id, 0u);
  EXPECT_EQ(FsysPollPeer::spare(*poll_), 7u);
  poll_->Stop();
  EXPECT_EQ(os_->threads().thread(id), nullptr);
  EXPECT_FALSE(poll_->hasThread());
  EXPECT_TRUE(os_->asyncIo().pending().empty()) << "it made no further pass";
}

TEST_F(StoppedPollTest, AStoppedPollersThreadReturns0AtOnceAndStartsNothing) {
  poll_->Stop();
  double before_ms = Qv::now();
  EXPECT_EQ(FsysPoll::StartPolling(poll_.get()), 0u);
  EXPECT_EQ(Qv::now(), before_ms);
  EXPECT_TRUE(os_->asyncIo().pending().empty());
}

TEST_F(StoppedPollTest, APassOfAStoppedPollerStartsNothing) {
  poll_->Stop();
  EXPECT_EQ(poll_->Polltasks(), 1u);
  EXPECT_TRUE(os_->asyncIo().pending().empty());
}

TEST_F(StoppedPollTest, APassStopsAfterTheFileInWhichThePollerWasStopped) {
  recorder_->onCall([this](const Recorder::Call&) { poll_->Stop(); });
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  EXPECT_EQ(poll_->Polltasks(), 1u);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_TRUE(os_->asyncIo().pending().empty()) << "the second file was not started";
}

// What a pass costs and holds ---------------------------------------------------------------------

TEST_F(FsysPollTest, APassHoldsItsListsLockFromItsFirstFileToItsLast) {
  std::vector<std::pair<int, bool>> held;
  recorder_->onCall([&](const Recorder::Call& call) {
    held.emplace_back(call.ticket, LockProbe::isHeld(FsysPeer::readLock(*theFsys)));
  });
  int ticket = 0;
  for (const wchar_t* name : {L"/m/a", L"/m/b", L"/m/c"})
    read(readPatternFile(name, 4096), 0, 512, ++ticket);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError, 1, FaultPlan::eFromThenOn);
  passOverReads();
  EXPECT_EQ(held, (std::vector<std::pair<int, bool>>{{1, true}, {2, true}, {3, true}}));
  EXPECT_FALSE(LockProbe::isHeld(FsysPeer::readLock(*theFsys)));
}

TEST_F(FsysPollTest, ACompletionsCallbackRunsWithoutTheListsLock) {
  bool held = true;
  recorder_->onCall(
      [&](const Recorder::Call&) { held = LockProbe::isHeld(FsysPeer::readLock(*theFsys)); });
  read(readPatternFile(L"/m/a", 4096), 0, 512);
  passOverReads();
  os_->asyncIo().finishAll();
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_FALSE(held);
}

TEST_F(FsysPollTest, ACallbackInAPassMayEnterItsFilesLockAgain) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  bool held = false;
  recorder_->onCall([&held, file, this](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    held = LockProbe::isHeld(FsysFilePeer::lock(*file));
    EXPECT_EQ(read(file, 1024, 512, 2), 1u);
  });
  read(file, 0, 512, 1);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  passOverReads();
  EXPECT_TRUE(held);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_EQ(FsysFilePeer::readRequests(*file).size(), 1u);
}

TEST_F(FsysPollTest, APassOverIdleFilesAsksForNoMemory) {
  for (const wchar_t* root : {L"/m/", L"/n/", L"/m/file 7"}) addedDrive(root);
  for (int i = 0; i < 100; ++i) {
    std::wstring name = L"/m/file " + std::to_wstring(i);
    os_->files().addFile(name.c_str());
    openForReading(name.c_str());
    openForWriting((name + L" written").c_str());
  }
  passOverReads();
  passOverWrites();
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "the sanitizer's own heap stands where the library's would";
  heap.letBe();
  passOverReads();
  passOverWrites();
  EXPECT_EQ(heap.allocations(), 0);
}

}  // namespace
