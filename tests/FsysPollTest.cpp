#include "fsys/FsysPoll.h"

#include "tests/EngineFixture.h"

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

TEST_F(FsysPollTest, AStoppedPollersThreadReturns0AtOnce) {
  struct Stopped : FsysPoll {
    Stopped(Vector<FsysFile*>* files, CriticalSection* lock) : FsysPoll(files, lock, true, 50, 1) {}
  };
  Vector<FsysFile*> files;
  CriticalSection lock;
  uint32_t id;
  {
    Stopped poll(&files, &lock);
    id = FsysPollPeer::threadId(poll);
    EXPECT_NE(id, 0u);
    EXPECT_EQ(FsysPollPeer::spare(poll), 1u);
  }
  EXPECT_EQ(os_->threads().thread(id), nullptr) << "the thread has left its function";
}

TEST_F(FsysPollTest, APassHoldsItsListsLockSoACallbackMayEnterItAgain) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  recorder_->onCall([this](const Recorder::Call&) {
    os_->files().addFile(L"/m/b", patternBytes(10));
    openForReading(L"/m/b");
  });
  read(file, 0, 512);
  os_->faults().fail(FaultPlan::eStartRead, eOsIoError);
  passOverReads();
  EXPECT_EQ(FsysPeer::readFiles(*theFsys).size(), 2u);
}

}  // namespace
