// Writes that a write's own callback makes, on a real folder and the threads that finish transfers.

#include <gtest/gtest.h>

#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

class EngineWriteOnTest : public testing::Test {
protected:
  void SetUp() override {
    ASSERT_EQ(FsysInitialize(), 1u);
    ASSERT_EQ(FsysOpen(&file_, folder_ / "a", 1 << 20, 2, nullptr), 1u);
  }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }

  uint32_t write(uint64_t offset, uint32_t bytes, int ticket, bool synchronous = false) {
    Qv::Ptr<iObject> context = recorder_->ticket(ticket);
    Qv::Ptr<iMemHolder> data = TestHolder::ofPattern(bytes, offset);
    return file_->DirectWrite(data, false, &Recorder::told, context, synchronous);
  }
  // Every told block but the last queues the one behind it.
  void writeBlocksFromCallbacks(bool synchronous) {
    recorder_->onCall([this, synchronous](const Recorder::Call& call) {
      if (call.ticket + 1 < kBlocks) writeBlock(call.ticket + 1, synchronous);
    });
    writeBlock(0, synchronous);
    ASSERT_TRUE(recorder_->waitFor(kBlocks));
    expectOnDisk(uint64_t{kBlock} * kBlocks);
  }
  void writeBlock(int index, bool synchronous) {
    EXPECT_EQ(write(uint64_t{kBlock} * static_cast<unsigned>(index), kBlock, index, synchronous),
              1u);
  }
  void expectOnDisk(uint64_t bytes) {
    EXPECT_EQ(FsysClose(file_, nullptr), 1u);
    for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestSucceeded);
    uint64_t size = 0;
    EXPECT_TRUE(OS()->getFileManager()->getFileSize(folder_ / "a", size));
    EXPECT_EQ(size, bytes);
    EXPECT_EQ(whyNotStreamedBack(folder_ / "a", bytes, 65536), "");
  }

  static constexpr uint32_t kBlock = 65536;
  static constexpr int kBlocks = 100;
  ScratchFolder folder_;
  Qv::Ptr<Recorder> recorder_{new Recorder};
  FsysFile* file_ = nullptr;
};

TEST_F(EngineWriteOnTest, AStagedWriteInACallbackDoesNotWaitForItsOwnThread) {
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    EXPECT_EQ(write(512, 140001, 2), 1u);
  });
  EXPECT_EQ(write(0, 512, 1), 1u);
  ASSERT_TRUE(recorder_->waitFor(2));
  expectOnDisk(140513);
}

TEST_F(EngineWriteOnTest, TheCallbackOfAWriteThatTippedTheCacheStagesBehindIt) {
  constexpr uint32_t kTipping = 140001;
  for (int round = 0; round < 20; ++round) {
    uint64_t at = uint64_t{kTipping + 100} * static_cast<unsigned>(round);
    recorder_->onCall([&](const Recorder::Call& call) {
      if (call.ticket != 2 * round) return;
      EXPECT_EQ(write(at + kTipping, 100, 2 * round + 1), 1u);
    });
    // A staged write that tips the cache returns once its callback has.
    ASSERT_EQ(write(at, kTipping, 2 * round), 1u);
    ASSERT_TRUE(recorder_->waitFor(static_cast<size_t>(2 * round + 2)));
  }
  expectOnDisk(uint64_t{kTipping + 100} * 20);
}

TEST_F(EngineWriteOnTest, BlocksThatCallbacksQueueOneAfterTheOtherLieBehindEachOther) {
  writeBlocksFromCallbacks(false);
}

TEST_F(EngineWriteOnTest, SynchronousBlocksThatCallbacksQueueLieBehindEachOther) {
  writeBlocksFromCallbacks(true);
}

}  // namespace
