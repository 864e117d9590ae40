// The engine on a share that never answers: what it holds up, and for how long.

#include <gtest/gtest.h>

#include <chrono>
#include <functional>
#include <future>
#include <string>
#include <utility>
#include <vector>

#include "platform/OS.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/StreamedFile.h"

namespace {

using Clock = std::chrono::steady_clock;
using Seconds = std::chrono::duration<double>;

constexpr uint32_t kPiece_bytes = 65536;

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

class EngineDeadShareTest : public ::testing::Test {
protected:
  void SetUp() override {
    if (!share_.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
    ASSERT_EQ(FsysInitialize(), 1u);
  }
  void TearDown() override {
    if (!share_.isMounted()) return;
    share_.letGo();
    FsysUninitialize(Shutdown::eNormal);
  }

  FsysFile* open(const char* name, uint32_t flags) {
    FsysFile* file = nullptr;
    EXPECT_EQ(FsysOpen(&file, folder_ / name, 0, flags, nullptr), 1u) << name;
    return file;
  }
  FsysFile* openToRead() { return open("share/held", 1); }
  FsysFile* openToWrite() { return open("share/empty", 2); }
  void die() {
    for (auto what : {HeldFileSystem::eRead, HeldFileSystem::eWrite, HeldFileSystem::eFlush})
      share_.order({what, HeldFileSystem::eHold});
  }
  void read(FsysFile* file, unsigned piece) {
    Qv::Ptr<iObject> context = recorder_->context();
    ASSERT_EQ(
        file->DirectRead(long{piece} * kPiece_bytes, kPiece_bytes, false, &Recorder::told, context),
        1u);
  }
  void write(FsysFile* file, Qv::Ptr<iMemHolder> data) {
    Qv::Ptr<iObject> context = recorder_->context();
    ASSERT_EQ(file->DirectWrite(data, false, &Recorder::told, context, false), 1u);
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

  ScratchFolder folder_;
  HeldFileSystem share_{folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs"};
  Qv::Ptr<Recorder> recorder_{new Recorder};
};

TEST_F(EngineDeadShareTest, ClosingAndEndingTakeTheStatedTimeAndWhatIsHeldIsKeptUntilItIsLetGo) {
  uint64_t before = kept();
  FsysFile* reading = openToRead();
  FsysFile* writing = openToWrite();
  die();
  for (unsigned piece = 0; piece < 3; ++piece) read(reading, piece);
  std::promise<void> gone;
  std::future<void> isGone = gone.get_future();
  write(writing, Qv::Ptr<iMemHolder>(new WatchedHolder(gone)));
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
  write(writing, TestHolder::ofPattern(1000));
  EXPECT_EQ(recorder_->count(), 1u);
  EXPECT_LT(timeOfClosing(writing), kWritesWait + kSlack);
}

}  // namespace
