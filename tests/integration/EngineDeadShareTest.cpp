// The engine on a share that never answers: what it holds up, and for how long.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "tests/integration/EngineShareFixture.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

// What a close waits for requests that do not end: 29 steps of twice the writes' poll delay for
// each direction, and 4 s for each of two drains of the writes.
constexpr Seconds kReadsWait{2.9};
constexpr Seconds kWritesWait{4 + 2.9 + 4};
// What the end of the engine waits for each of two ports: 2 s, and 0.5 s for what it cancelled.
constexpr Seconds kPortsWait{2 * 2.5};
// What the system's own close is waited for.
constexpr Seconds kClosedFileWait{2};
// What a busy machine may add.
constexpr Seconds kSlack{6};
// Only a failure waits so long.
constexpr Seconds kPatience{30};

// A holder that tells when its last reference has gone.
class WatchedHolder final : public iMemHolder {
public:
  explicit WatchedHolder(std::promise<void>& gone) : gone_(gone) {}
  ~WatchedHolder() override { gone_.set_value(); }

  unsigned char* getBuffer() const override { return bytes_.data(); }
  unsigned getSize() const override { return static_cast<unsigned>(bytes_.size()); }
  unsigned getUsed() const override { return 0; }
  bool setUsed(unsigned) override { return false; }

private:
  mutable std::vector<unsigned char> bytes_ = patternBytes(kPiece_bytes);
  std::promise<void>& gone_;
};

class EngineDeadShareTest : public EngineShareFixture {
protected:
  void die() {
    for (auto what : {HeldFileSystem::eRead, HeldFileSystem::eWrite, HeldFileSystem::eFlush})
      share_.order({what, HeldFileSystem::eHold});
  }
  static uint64_t kept() { return OS()->getAsyncIo()->describe().keptTransfers; }

  // How long it took; a failure when it waits for the share, which then goes on.
  Seconds timeOf(const std::function<void()>& action) {
    auto begin = Clock::now();
    std::future<void> done = std::async(std::launch::async, action);
    if (done.wait_for(kPatience) != std::future_status::ready) {
      ADD_FAILURE() << "the share is waited for";
      share_.letGo();
    }
    done.get();
    return Clock::now() - begin;
  }
  // The same for a close.
  Seconds timeOfClosing(FsysFile* file) {
    return timeOf([file] { EXPECT_EQ(FsysClose(file, nullptr), 1u); });
  }
  void expectAllFailed(size_t calls) {
    EXPECT_EQ(recorder_->count(), calls);
    for (const Recorder::Call& call : recorder_->calls()) EXPECT_EQ(call.status, eRequestFailed);
  }
};

TEST_F(EngineDeadShareTest, ClosingAndEndingTakeTheStatedTimeAndWhatIsHeldIsKeptUntilItIsLetGo) {
  uint64_t before = kept();
  FsysFile* reading = openToRead();
  FsysFile* writing = openToWrite();
  die();
  for (unsigned piece = 0; piece < 3; ++piece) read(reading, piece);
  std::promise<void> gone;
  std::future<void> isGone = gone.get_future();
  write(writing, 0, Qv::Ptr<iMemHolder>(new WatchedHolder(gone)));
  // With threads the third read waits for one.
  share_.waitUntilHeld(3);

  EXPECT_LT(timeOfClosing(reading), kReadsWait + kSlack);
  expectAllFailed(3);
  EXPECT_LT(timeOfClosing(writing), kWritesWait + kSlack);
  expectAllFailed(4);
  unsigned counted = 1;
  EXPECT_EQ(FsysGetWriteBytesOutstanding(&counted), 1u);
  EXPECT_EQ(counted, 0u);

  EXPECT_LT(timeOf([] { FsysUninitialize(Shutdown::eNormal); }), kPortsWait + kSlack);
  EXPECT_GE(kept(), before + 3);
  EXPECT_EQ(isGone.wait_for(std::chrono::seconds(0)), std::future_status::timeout);
  share_.letGo();
  isGone.wait();
  expectAllFailed(4);
}

TEST_F(EngineDeadShareTest, AnEngineEndsWithItsFilesStillOpenThere) {
  FsysFile* first = openToRead();
  FsysFile* second = openToRead();
  die();
  read(first, 0);
  read(second, 1);
  share_.waitUntilHeld(2);
  EXPECT_LT(timeOf([] { FsysUninitialize(Shutdown::eNormal); }), kReadsWait + kPortsWait + kSlack);
  EXPECT_LE(recorder_->count(), 2u);
}

TEST_F(EngineDeadShareTest, AFileWithNothingInFlightIsClosed) {
  FsysFile* reading = openToRead();
  FsysFile* writing = openToWrite();
  die();
  EXPECT_LT(timeOfClosing(reading), kClosedFileWait + kSlack);
  EXPECT_LT(timeOfClosing(writing), kClosedFileWait + kSlack);
}

TEST_F(EngineDeadShareTest, AFileWhoseStagedBytesCannotGoIsClosed) {
  FsysFile* writing = openToWrite();
  die();
  write(writing, 0, TestHolder::ofPattern(1000));
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_LT(timeOfClosing(writing), kWritesWait + kSlack);
}

}  // namespace
