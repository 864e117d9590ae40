// Closing a file from one of its callbacks: also when the close comes to its end before the
// callback has returned, when there is nobody to close it, and while the engine ends.

#include <algorithm>
#include <utility>

#include "tests/EngineFixture.h"
#include "tests/FsysFilePeer.h"
#include "tests/support/AddedDrive.h"

namespace {

constexpr size_t kMostWaits = 29;

class FsysCloseFromCallbackTest : public EngineFixture {
protected:
  // Within the callback of that ticket the file is closed, and that close is over before the
  // callback returns.
  void closeAndFinishIn(FsysFile* file, int ticket = 0) {
    recorder_->onCall([this, file, ticket](const Recorder::Call& call) {
      if (call.ticket != ticket) return;
      EXPECT_EQ(FsysClose(file, nullptr), 1u);
      EXPECT_EQ(FsysClose(file, nullptr), 0u) << "once is enough";
      EXPECT_TRUE(os_->threads().runTask()) << "a thread of the engine's closes it";
    });
  }
  // The result of the close that a callback asks for.
  void closeIn(FsysFile* file, uint32_t& result) {
    recorder_->onCall(
        [file, &result](const Recorder::Call&) { result = FsysClose(file, nullptr); });
  }
  // `waits`: of the closer, for a callback that had not returned. `reported`: writes that it then
  // called outstanding.
  void expectNothingLeft(size_t waits = 0, size_t reported = 0) {
    EXPECT_EQ(os_->threads().sleeps().size(), waits);
    EXPECT_EQ(texts_.splats().size(), reported);
    EXPECT_EQ(os_->files().liveFiles(), 0u);
    EXPECT_EQ(os_->memory().regions(), 0u);
    EXPECT_EQ(os_->threads().tasks(), 0u);
    EXPECT_EQ(FsysPeer::readBytes(*theFsys), 0u);
    EXPECT_EQ(FsysPeer::writeBytes(*theFsys), 0u);
  }
};

TEST_F(FsysCloseFromCallbackTest, AReadsOwnFileMayBeGoneWhenItsCallbackReturns) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  closeAndFinishIn(file);
  read(file, 0, 512);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  expectNothingLeft(kMostWaits);
}

TEST_F(FsysCloseFromCallbackTest, AWritesOwnFileMayBeGoneWithoutTheDrainWaitingForThatWrite) {
  FsysFile* file = openForWriting(L"/m/a");
  closeAndFinishIn(file);
  write(file, TestHolder::ofPattern(512));
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(512));
  expectNothingLeft(kMostWaits, 1);
}

TEST_F(FsysCloseFromCallbackTest, ATooSlowWritesOwnFileMayBeGoneWhenItsCallbackReturns) {
  addedDrive(L"/m/a/");
  FsysFile* file = openForWriting(L"/m/a/");
  closeAndFinishIn(file);
  write(file, TestHolder::ofPattern(20480));
  passOverWrites();
  os_->clock().step(1000);
  os_->asyncIo().finishAll();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(FsysGetLastError(), 9u) << "it was too slow";
  EXPECT_FALSE(recorder_->at(0).hadData);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a/"), patternBytes(20480));
  expectNothingLeft();
}

TEST_F(FsysCloseFromCallbackTest, AFailedReadsOwnFileMayBeGoneWhenItsCallbackReturns) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  closeAndFinishIn(file);
  read(file, 0, 512);
  os_->faults().fail(FaultPlan::eFinishRead, eOsIoError);
  os_->run();
  ASSERT_EQ(recorder_->count(), 1u);
  EXPECT_EQ(recorder_->at(0).status, eRequestFailed);
  expectNothingLeft(kMostWaits);
}

TEST_F(FsysCloseFromCallbackTest, WhatElseIsInFlightIsWaitedForAndAnsweredOnce) {
  FsysFile* file = openForWriting(L"/m/a");
  uint32_t result = 77;
  closeIn(file, result);
  write(file, TestHolder::ofPattern(512), 1);
  write(file, TestHolder::ofPattern(512, 512), 2);
  passOverWrites();
  os_->asyncIo().finish(0);
  EXPECT_EQ(result, 1u);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_TRUE(os_->threads().runTask());
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(1024));
  expectNothingLeft();
}

// Nobody to close it ------------------------------------------------------------------------------

struct NobodyCase {
  const char* name;
  FaultPlan::eCall call;
};

class NobodyToCloseTest : public FsysCloseFromCallbackTest,
                          public testing::WithParamInterface<NobodyCase> {};

TEST_P(NobodyToCloseTest, TheFileStaysOpenAndUsableAndCanBeClosedAfterwards) {
  FsysFile* file = readPatternFile(L"/m/a", 4096);
  uint32_t result = 77;
  closeIn(file, result);
  os_->faults().fail(GetParam().call, eOsNoMemory);
  read(file, 0, 512);
  os_->run();
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(FsysGetLastError(), uint32_t{eOsNoMemory});
  EXPECT_EQ(os_->threads().tasks(), 0u);
  EXPECT_FALSE(FsysFilePeer::closing(*file));
  EXPECT_EQ(FsysPeer::readFiles(*theFsys).locate(file), 0u);

  EXPECT_EQ(FsysSetCoalesceLength(file, 0), 1u) << "it is open";
  EXPECT_EQ(read(file, 1024, 512), 1u);
  os_->run();
  ASSERT_EQ(recorder_->count(), 2u);
  EXPECT_EQ(recorder_->at(1).status, eRequestSucceeded);
  EXPECT_EQ(result, 1u) << "this time somebody closes it";
  os_->run();
  expectNothingLeft();
}

TEST_P(NobodyToCloseTest, TheFileCanBeClosedFromOutsideAfterwards) {
  FsysFile* file = openForWriting(L"/m/a");
  uint32_t result = 77;
  closeIn(file, result);
  os_->faults().fail(GetParam().call, eOsNoMemory);
  write(file, TestHolder::ofPattern(512));
  os_->run();
  EXPECT_EQ(result, 0u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(512));
  expectNothingLeft();
}

INSTANTIATE_TEST_SUITE_P(Nobody, NobodyToCloseTest,
                         testing::Values(NobodyCase{"NoQueue", FaultPlan::eCreateTaskQueue},
                                         NobodyCase{"TaskNotTaken", FaultPlan::ePostTask}),
                         [](const auto& test) { return test.param.name; });

TEST_F(FsysCloseFromCallbackTest, ASegmentThatCannotBeSentIsLoggedAndKeepsTheFileOpen) {
  FsysFile* file = openForWriting(L"/m/a");
  uint32_t result = 77;
  closeIn(file, result);
  write(file, TestHolder::ofPattern(512));
  passOverWrites();
  FsysFilePeer::giveSegment(*file, TestHolder::ofPattern(512, 512), 100);
  FsysFilePeer::setPosition(*file, 612);
  os_->faults().fail(FaultPlan::eStartWrite, eOsIoError);
  os_->run();
  EXPECT_EQ(result, 1u) << "the callback does not hear of it";
  EXPECT_EQ(texts_.log(), std::vector<std::string>{
                              "A file could not be closed: its last sector failed with 0x1005\n"});
  EXPECT_EQ(FsysPeer::writeFiles(*theFsys).locate(file), 0u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u) << "the next try sends it";
  EXPECT_EQ(os_->files().bytesOf(L"/m/a").size(), 1024u);
}

// While the engine ends ---------------------------------------------------------------------------

TEST_F(FsysCloseFromCallbackTest, ACloseThatDidNotRunBeforeTheEngineEndsIsDoneByThatEnd) {
  os_->threads().holdTasks(true);
  FsysFile* file = openForWriting(L"/m/a");
  uint32_t result = 77;
  closeIn(file, result);
  write(file, TestHolder::ofPattern(512));
  os_->run();
  EXPECT_EQ(result, 1u);
  EXPECT_EQ(os_->threads().tasks(), 1u);
  EXPECT_EQ(os_->files().liveFiles(), 2u) << "the file and its probe";
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(os_->threads().tasks(), 0u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(512));
}

// The end alone would close every other one.
TEST_F(FsysCloseFromCallbackTest, EveryCloseThatDidNotRunBeforeTheEngineEndsIsDoneByThatEnd) {
  os_->threads().holdTasks(true);
  const std::vector<FsysFile*> files{openForWriting(L"/m/0"), openForWriting(L"/m/1"),
                                     openForWriting(L"/m/2")};
  recorder_->onCall([&files](const Recorder::Call& call) {
    if (call.ticket >= 3) return;
    EXPECT_EQ(FsysClose(files[call.ticket], nullptr), 1u);
  });
  for (int i = 0; i < 3; ++i) {
    write(files[i], TestHolder::ofPattern(512), i);
    write(files[i], TestHolder::ofPattern(512, 512), 3 + i);
  }
  passOverWrites();
  for (size_t i = 0; i < 3; ++i) {
    os_->asyncIo().finish(i);
    os_->asyncIo().stall(i);
  }
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{0, 1, 2}));
  EXPECT_EQ(os_->threads().tasks(), 3u);

  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{0, 1, 2, 3, 4, 5}));
  for (size_t i = 3; i < 6; ++i) EXPECT_EQ(recorder_->at(i).status, eRequestFailed) << i;
  EXPECT_EQ(os_->threads().tasks(), 0u);
}

TEST_F(FsysCloseFromCallbackTest, ACloseThatTheEndOwesIsTriedOnceAndLogged) {
  os_->threads().holdTasks(true);
  FsysFile* file = openForWriting(L"/m/a");
  uint32_t result = 77;
  closeIn(file, result);
  write(file, TestHolder::ofPattern(512));
  os_->run();
  FsysFilePeer::giveSegment(*file, TestHolder::ofPattern(512, 512), 100);
  FsysFilePeer::setPosition(*file, 612);
  os_->faults().fail(FaultPlan::eStartWrite, eOsIoError, 1, FaultPlan::eFromThenOn);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(result, 1u);
  const std::vector<std::string> log = texts_.log();
  EXPECT_EQ(std::count(log.begin(), log.end(),
                       "A file could not be closed: its last sector failed with 0x1005\n"),
            1);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

// The second file is one of those that the end leaves open.
TEST_F(FsysCloseFromCallbackTest, ACloseThatWasRefusedIsNotOwedByTheEnd) {
  FsysFile* files[] = {openForWriting(L"/m/0"), openForWriting(L"/m/1")};
  uint32_t result = 77;
  closeIn(files[1], result);
  os_->faults().fail(FaultPlan::ePostTask, eOsNoMemory);
  write(files[1], TestHolder::ofPattern(512), 1);
  write(files[1], TestHolder::ofPattern(512, 512), 2);
  passOverWrites();
  os_->asyncIo().finish(0);
  os_->asyncIo().stall(0);
  EXPECT_EQ(result, 0u);
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1}) << "who is left calls nobody";
  EXPECT_EQ(files[1]->GetName(), Text(L"/m/1"));
}

class CloseAtTheEndTest : public FsysCloseFromCallbackTest,
                          public testing::WithParamInterface<bool> {
protected:
  void SetUp() override {
    FsysCloseFromCallbackTest::SetUp();
    os_->threads().holdTasks(GetParam());
    recorder_->onCall([this](const Recorder::Call& call) {
      if (call.ticket == 0) return;
      EXPECT_EQ(FsysClose(files_[call.ticket - 1], nullptr), 1u);
    });
  }
  // A queued write, whose callback closes the file, and an unaligned tail behind it.
  void writeWithATail(const wchar_t* path) {
    FsysFile* file = openForWriting(path);
    files_.push_back(file);
    EXPECT_EQ(write(file, TestHolder::ofPattern(512), static_cast<int>(files_.size())), 1u);
    EXPECT_EQ(write(file, TestHolder::ofPattern(100, 512)), 1u);
    EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 100u);
  }
  void expectWrittenOnce(const wchar_t* path) {
    EXPECT_EQ(os_->files().bytesOf(path), patternBytes(612));
    std::vector<std::pair<uint64_t, uint32_t>> written;
    for (const FakeTransferRecord& transfer : os_->files().transfers())
      if (transfer.path == path) written.emplace_back(transfer.offset, transfer.bytes);
    std::sort(written.begin(), written.end());
    EXPECT_EQ(written, (std::vector<std::pair<uint64_t, uint32_t>>{{0, 512}, {512, 100}}));
  }

  std::vector<FsysFile*> files_;
};

TEST_P(CloseAtTheEndTest, AFileThatACallbackClosesIsClosedOnceAndItsTailWrittenOnce) {
  writeWithATail(L"/m/0");
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{0, 1}));
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_EQ(os_->threads().tasks(), 0u);
  EXPECT_TRUE(texts_.splats().empty());
  expectWrittenOnce(L"/m/0");
}

TEST_P(CloseAtTheEndTest, AFileThatTheEndLeavesOpenIsInertAlsoWhenACallbackClosedIt) {
  writeWithATail(L"/m/0");
  writeWithATail(L"/m/1");
  FsysUninitialize(Shutdown::eNormal);
  EXPECT_EQ(recorder_->count(), 4u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_TRUE(texts_.splats().empty());
  expectWrittenOnce(L"/m/0");
  expectWrittenOnce(L"/m/1");
  FsysFile* left = files_[1];
  EXPECT_EQ(left->GetName(), Text(L"/m/1"));
  EXPECT_EQ(left->GetWriteBytesOutstanding(), 0u);
  EXPECT_EQ(write(left, TestHolder::ofPattern(512)), 0u);
  EXPECT_EQ(FsysClose(left, nullptr), 0u);
}

INSTANTIATE_TEST_SUITE_P(Tasks, CloseAtTheEndTest, testing::Bool(),
                         [](const auto& test) { return test.param ? "Held" : "Running"; });

}  // namespace
