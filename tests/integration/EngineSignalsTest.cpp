// The engine under signals that come all the time and interrupt what they can.

#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <thread>

#include "platform/OS.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"
#include "tests/support/StreamedFile.h"

namespace {

std::atomic<uint64_t> handled{0};
std::atomic<uint64_t> handledElsewhere{0};
std::atomic<pid_t> wanted{0};

// Signals for one thread, and for every thread of the library's, as fast as they go. The handler
// does not ask for calls to be restarted.
class SignalStorm {
public:
  SignalStorm() {
    handled = handledElsewhere = 0;
    wanted = gettid();
    struct sigaction action = {};
    action.sa_handler = [](int) { ++(gettid() == wanted ? handled : handledElsewhere); };
    sigaction(SIGUSR1, &action, &before_);
    storm_ = std::thread([this, target = pthread_self()] {
      sigset_t all;
      sigfillset(&all);
      pthread_sigmask(SIG_SETMASK, &all, nullptr);
      for (unsigned turn = 0; !over_; ++turn) {
        pthread_kill(target, SIGUSR1);
        if (turn % 256 == 0) tellEveryThread();
        std::this_thread::yield();
      }
    });
  }
  ~SignalStorm() {
    over_ = true;
    storm_.join();
    sigaction(SIGUSR1, &before_, nullptr);
  }

  // Returns when that many more signals have been handled.
  static void waitForMore(uint64_t signals) {
    for (uint64_t end = handled + signals; handled < end;) std::this_thread::yield();
  }

private:
  static void tellEveryThread() {
    std::error_code gone;
    for (const auto& thread : std::filesystem::directory_iterator("/proc/self/task", gone))
      syscall(SYS_tgkill, getpid(), std::stoi(thread.path().filename()), SIGUSR1);
  }

  std::atomic<bool> over_{false};
  struct sigaction before_ = {};
  std::thread storm_;
};

class EngineSignalsTest : public ::testing::Test {
protected:
  void SetUp() override { ASSERT_EQ(FsysInitialize(), 1u); }
  void TearDown() override { FsysUninitialize(Shutdown::eNormal); }
};

TEST_F(EngineSignalsTest, ASleepLastsNoLongerForThem) {
  SignalStorm storm;
  double begin_ms = Qv::now();
  OS()->getThreads()->sleep(200);
  double slept_ms = Qv::now() - begin_ms;
  EXPECT_GE(slept_ms, 199);
  EXPECT_LT(slept_ms, 10'000);
}

TEST_F(EngineSignalsTest, EveryByteStreamsOutAndBackAndNoCallFails) {
  ScratchFolder folder;
  SignalStorm storm;
  for (unsigned turn = 0; turn < soakTurns(8, 2000); ++turn) {
    uint64_t size = (1 << 20) + 4099 * turn;
    uint32_t block = turn % 2 ? 65536 : 50001;
    LightweightString<wchar_t> path = folder / ("clip" + std::to_string(turn % 16));
    std::filesystem::remove(folder.bytes("clip" + std::to_string(turn % 16)));
    ASSERT_TRUE(streamOut(path, 0, size / 2, block)) << turn;
    ASSERT_TRUE(streamOut(path, size / 2, size, block)) << turn;
    ASSERT_EQ(whyNotStreamedBack(path, size, block), "") << turn;
  }
  SignalStorm::waitForMore(100);
  EXPECT_EQ(handledElsewhere, 0u) << "a thread of the library's takes signals";
}

TEST_F(EngineSignalsTest, TheSameOfAShareWhereEveryCallCanBeInterrupted) {
  ScratchFolder folder;
  HeldFileSystem share(folder.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  SignalStorm storm;
  ASSERT_TRUE(streamOut(folder / "share/empty", 0, 300007, 65536));
  for (unsigned turn = 0; turn < soakTurns(8, 2000); ++turn) {
    uint64_t from = 300007 + uint64_t{turn} * 5001;
    ASSERT_TRUE(streamOut(folder / "share/empty", from, from + 5001, 5001)) << turn;
    ASSERT_EQ(whyNotStreamedBack(folder / "share/empty", from + 5001, 65536), "") << turn;
    ASSERT_EQ(whyNotStreamedBack(folder / "share/held", HeldFileSystem::kFileBytes, 131072), "");
  }
  EXPECT_EQ(handledElsewhere, 0u) << "a thread of the library's takes signals";
}

}  // namespace
