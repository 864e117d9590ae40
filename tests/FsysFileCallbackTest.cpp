// What callbacks on the caller's own stack may do with their own file: those of a read that is
// answered from a finished one, and of a write that the cache absorbs.

#include "tests/FsysFileFixture.h"

namespace {

constexpr unsigned kStaged = 140001;  // bytes of a write that the cache sends at once

class FsysFileCallbackTest : public FsysFileFixture {
protected:
  // A file whose first 4096 bytes are kept.
  FsysFile* fileWithAKeptRead() {
    FsysFile* file = readPatternFile(L"/m/a", 1 << 20);
    read(file, 0, 4096);
    os_->run();
    recorder_->clear();
    return file;
  }
  template <typename Action>
  void inCallbackOf(int ticket, Action action) {
    recorder_->onCall([this, ticket, action](const Recorder::Call& call) {
      if (call.ticket != ticket) return;
      double before_ms = Qv::now();
      action();
      EXPECT_EQ(Qv::now(), before_ms) << "a callback does not wait";
    });
  }
};

// A read that is answered from a finished one -----------------------------------------------------

TEST_F(FsysFileCallbackTest, ACacheHitsCallbackMayReadOn) {
  FsysFile* file = fileWithAKeptRead();
  inCallbackOf(1, [&] {
    EXPECT_EQ(read(file, 200, 100, 2), 1u);
    EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2})) << "the next hit is told inside it";
    EXPECT_EQ(read(file, 20000, 100, 3), 1u);
  });
  EXPECT_EQ(read(file, 100, 100, 1), 1u);
  EXPECT_EQ(recorder_->count(), 2u);
  os_->run();
  ASSERT_EQ(recorder_->tickets(), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(whyNotPattern(recorder_->at(0).bytes, 100), "");
  EXPECT_EQ(whyNotPattern(recorder_->at(1).bytes, 200), "");
  EXPECT_EQ(whyNotPattern(recorder_->at(2).bytes, 20000), "");
}

TEST_F(FsysFileCallbackTest, ACacheHitsCallbackMayReadSynchronouslyWithoutWaiting) {
  FsysFile* file = fileWithAKeptRead();
  inCallbackOf(1, [&] {
    EXPECT_EQ(file->QueueReadRequest(readRequest(file, 20000, 100, 2, false, true)), 1u);
    EXPECT_EQ(recorder_->count(), 1u);
  });
  EXPECT_EQ(read(file, 100, 100, 1), 1u);
  os_->run();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
}

TEST_F(FsysFileCallbackTest, ACacheHitsCallbackMayCloseItsOwnFile) {
  FsysFile* file = fileWithAKeptRead();
  inCallbackOf(1, [&] {
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(FsysPeer::readFiles(*theFsys).size(), 1u) << "somebody else closes it";
    EXPECT_EQ(read(file, 200, 100, 2), 0u) << "it takes nothing more";
    EXPECT_TRUE(os_->threads().runTask());
    EXPECT_TRUE(FsysPeer::readFiles(*theFsys).empty());
  });
  EXPECT_EQ(read(file, 100, 100, 1), 1u);
  ASSERT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_EQ(recorder_->at(0).status, eRequestSucceeded);
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
}

// A write that the cache absorbs ------------------------------------------------------------------

TEST_F(FsysFileCallbackTest, AnAbsorbedWritesCallbackMayWriteOn) {
  FsysFile* file = openForWriting(L"/m/a");
  inCallbackOf(1, [&] { EXPECT_EQ(write(file, TestHolder::ofPattern(300, 100), 2), 1u); });
  EXPECT_EQ(write(file, TestHolder::ofPattern(100), 1), 1u);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(400));
}

TEST_F(FsysFileCallbackTest, AnAbsorbedWritesCallbackMayWriteSynchronouslyWithoutWaiting) {
  FsysFile* file = openForWriting(L"/m/a");
  inCallbackOf(1, [&] {
    EXPECT_EQ(write(file, TestHolder::ofPattern(kStaged, 100), 2, true), 1u);
    EXPECT_EQ(recorder_->count(), 1u) << "the second write is still on its way";
    EXPECT_GT(file->GetWriteBytesOutstanding(), 0u);
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(100), 1, true), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(100 + kStaged));
}

TEST_F(FsysFileCallbackTest, AnAbsorbedWritesCallbackMayQueueASynchronousWriteWithoutWaiting) {
  FsysFile* file = openForWriting(L"/m/a");
  inCallbackOf(1, [&] {
    EXPECT_EQ(file->QueueWriteRequest(writeRequest(file, 1024, 512, 2, false, true)), 1u);
    EXPECT_EQ(recorder_->count(), 1u);
    EXPECT_TRUE(writePollIsDue()) << "nobody waits for the poller's own pass";
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(100), 1), 1u);
  os_->run();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
}

TEST_F(FsysFileCallbackTest, AnAbsorbedWritesCallbackMayCloseItsOwnFile) {
  FsysFile* file = openForWriting(L"/m/a");
  inCallbackOf(1, [&] {
    EXPECT_EQ(FsysClose(file, nullptr), 1u);
    EXPECT_EQ(FsysPeer::writeFiles(*theFsys).size(), 1u) << "somebody else closes it";
    EXPECT_EQ(write(file, TestHolder::ofPattern(512), 2), 0u) << "it takes nothing more";
    EXPECT_TRUE(os_->threads().runTask());
    EXPECT_TRUE(FsysPeer::writeFiles(*theFsys).empty());
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(100), 1), 1u);
  EXPECT_EQ(recorder_->tickets(), std::vector<int>{1});
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(100));
  EXPECT_EQ(os_->memory().regions(), 0u);
  EXPECT_EQ(os_->files().liveFiles(), 0u);
  EXPECT_TRUE(texts_.splats().empty());
}

}  // namespace
