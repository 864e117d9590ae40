// A write's callback that writes on, to its own file.

#include <functional>
#include <utility>

#include "tests/FsysFileDirectFixture.h"

namespace {

// An event that does something before it passes its signal on.
class HookedEvent final : public iThreadEvent {
public:
  HookedEvent(Qv::Ptr<iThreadEvent> event, std::function<void()> hook)
      : event_(std::move(event)), hook_(std::move(hook)) {}
  void signal() override {
    hook_();
    event_->signal();
  }
  void reset() override { event_->reset(); }
  bool wait(uint32_t timeout_ms) override { return event_->wait(timeout_ms); }

private:
  Qv::Ptr<iThreadEvent> event_;
  std::function<void()> hook_;
};

class FsysFileWriteOnTest : public FsysFileDirectFixture {
protected:
  static constexpr uint32_t kBlock = 4096;
  static constexpr int kBlocks = 5;

  // Every told block but the last queues the one behind it.
  void writeBlocksFromCallbacks(FsysFile* file, bool synchronous) {
    recorder_->onCall([this, file, synchronous](const Recorder::Call& call) {
      if (call.ticket + 1 < kBlocks) writeBlock(file, call.ticket + 1, synchronous);
    });
  }
  void writeBlock(FsysFile* file, int index, bool synchronous) {
    uint64_t offset = uint64_t{kBlock} * static_cast<unsigned>(index);
    EXPECT_EQ(write(file, TestHolder::ofPattern(kBlock, offset), index, synchronous), 1u);
    EXPECT_EQ(file->GetPosition() % kBlock, 0u);
  }
  void expectBlocksInOrder() {
    std::vector<uint64_t> expected;
    std::vector<uint64_t> offsets;
    for (uint64_t i = 0; i < kBlocks; ++i) expected.push_back(i * kBlock);
    for (const FakeTransferRecord& record : os_->files().transfers())
      offsets.push_back(record.offset);
    EXPECT_EQ(offsets, expected);
    EXPECT_EQ(recorder_->tickets(), (std::vector<int>{0, 1, 2, 3, 4}));
    EXPECT_EQ(whyNotPattern(os_->files().bytesOf(L"/m/a")), "");
  }
  // What the poller is kicked for happens inside the kick: before it returns the transfer is over
  // and told.
  void finishInsideTheKick() {
    FsysPoll* poll = FsysPeer::writePoll(*theFsys);
    Qv::Ptr<iThreadEvent>& wake = FsysPollPeer::wake(*poll);
    // Also as the poller ends: its engine has none then.
    wake = Qv::Ptr<iThreadEvent>(new HookedEvent(wake, [this, poll] {
      poll->Polltasks();
      os_->asyncIo().finishAll();
    }));
  }
};

TEST_F(FsysFileWriteOnTest, TheCallbackOfAWriteThatTippedTheCacheStagesBehindWhatTheCacheHolds) {
  FsysFile* file = openForWriting(L"/m/a");
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    EXPECT_EQ(file->GetPosition(), 139776u) << "273 sectors are sent";
    EXPECT_EQ(write(file, TestHolder::ofPattern(100, 140001), 2), 1u);
    EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 325u);
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(140001), 1), 1u);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(FsysFilePeer::cachedBytes(*file), 325u);
  EXPECT_EQ(FsysFilePeer::cachePosition(*file), 139776u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(60000, 140101), 3), 1u);
  EXPECT_EQ(write(file, TestHolder::ofPattern(80003, 200101), 4), 1u);
  EXPECT_EQ(file->GetPosition(), 280104u / 512 * 512) << "it tipped again";
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(280104));
}

TEST_F(FsysFileWriteOnTest, TheCallbackOfAWriteThatTippedTheCacheMayTipTheNextOne) {
  FsysFile* file = openForWriting(L"/m/a");
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 3) return;
    uint64_t offset = uint64_t{140001} * static_cast<unsigned>(call.ticket);
    EXPECT_EQ(write(file, TestHolder::ofPattern(140001, offset), call.ticket + 1), 1u);
  });
  EXPECT_EQ(write(file, TestHolder::ofPattern(140001), 1), 1u);
  os_->run();
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2, 3}));
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(3 * 140001));
}

TEST_F(FsysFileWriteOnTest, TheCallbackOfASynchronousWriteQueuesTheNextBlockBehindIt) {
  FsysFile* file = openForWriting(L"/m/a");
  writeBlocksFromCallbacks(file, true);
  writeBlock(file, 0, true);
  os_->run();
  expectBlocksInOrder();
  EXPECT_EQ(file->GetPosition(), uint64_t{kBlock} * kBlocks);
  EXPECT_EQ(FsysFilePeer::cachePosition(*file), uint64_t{kBlock} * kBlocks);
}

TEST_F(FsysFileWriteOnTest, AWriteThatIsOverBeforeItsCallGoesOnHasMovedThePositionAlready) {
  FsysFile* file = openForWriting(L"/m/a");
  writeBlocksFromCallbacks(file, false);
  finishInsideTheKick();
  writeBlock(file, 0, false);
  expectBlocksInOrder();
  EXPECT_EQ(file->GetPosition(), uint64_t{kBlock} * kBlocks);
  EXPECT_EQ(write(file, TestHolder::ofPattern(100, uint64_t{kBlock} * kBlocks), kBlocks), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(uint64_t{kBlock} * kBlocks + 100));
}

// Callbacks do not wait --------------------------------------------------------------------------

TEST_F(FsysFileWriteOnTest, ACallbacksSynchronousWriteReturnsBeforeItIsDone) {
  FsysFile* file = openForWriting(L"/m/a");
  bool wasPending = false;
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket != 1) return;
    EXPECT_EQ(write(file, TestHolder::ofPattern(512, 512), 2, true), 1u);
    wasPending = file->GetWriteBytesOutstanding() == 1024 && recorder_->count() == 1;
  });
  write(file, TestHolder::ofPattern(512), 1);
  os_->run();
  EXPECT_TRUE(wasPending);
  EXPECT_EQ(recorder_->tickets(), (std::vector<int>{1, 2}));
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(1024));
}

TEST_F(FsysFileWriteOnTest, ACallbackIsToldAtOnceThatTheWriteListIsFull) {
  FsysFile* file = openForWriting(L"/m/a");
  os_->asyncIo().hold(true);
  for (int i = 0; i < 41; ++i)
    ASSERT_EQ(write(file, TestHolder::ofPattern(512, uint64_t(i) * 512), i), 1u);
  passOverWrites();
  uint32_t answer = 1;
  recorder_->onCall([&](const Recorder::Call& call) {
    if (call.ticket == 0) answer = write(file, TestHolder::ofPattern(512, 41 * 512), 41);
  });
  os_->asyncIo().finish(0);
  EXPECT_EQ(answer, 0u);
  EXPECT_EQ(FsysGetLastError(), 8u);
  EXPECT_TRUE(os_->threads().sleeps().empty());
  EXPECT_EQ(file->GetPosition(), 41u * 512);
  os_->asyncIo().hold(false);
  EXPECT_EQ(write(file, TestHolder::ofPattern(512, 41 * 512), 41), 1u);
  EXPECT_EQ(FsysClose(file, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(42 * 512));
}

}  // namespace
