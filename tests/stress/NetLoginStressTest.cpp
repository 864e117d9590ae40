// Threads that log in and out at once: there is one login at most, and it is whole.

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <thread>
#include <vector>

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tests/support/ScratchFolder.h"
#include "tests/support/Soak.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr unsigned kThreads = 4;
constexpr unsigned kTurns = 500;
constexpr unsigned kSoakTurns = 50'000;

class NetLoginStressTest : public testing::Test {
protected:
  static bool isThere(const ScratchFolder& folder) {
    return OS()->getFileManager()->exists(getNetLoginLockFileName(folder / ""));
  }
  static bool isHeld(const ScratchFolder& folder) {
    iFileManager::LockState state = iFileManager::eLockUnknown;
    return OS()->getFileManager()->askLock(getNetLoginLockFileName(folder / ""), state) &&
           state == iFileManager::eLockHeld;
  }

  std::array<ScratchFolder, kThreads> folders_;
};

TEST_F(NetLoginStressTest, HoweverManyLogInAndOutTheLastLogoutLeavesNothing) {
  const unsigned turns = soakTurns(kTurns, kSoakTurns);
  std::atomic<unsigned> failed{0};
  std::vector<std::thread> threads;
  for (unsigned who = 0; who < kThreads; ++who)
    threads.emplace_back([&, who] {
      for (unsigned turn = 0; turn < turns; ++turn) {
        if (NetLogin(folders_[(who + turn) % kThreads] / "") != 1) failed.fetch_add(1);
        if (turn % 3 == who % 3 && NetLogout() != 1) failed.fetch_add(1);
      }
    });
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(failed, 0u);
  unsigned held = 0;
  for (const ScratchFolder& folder : folders_) held += isHeld(folder);
  EXPECT_LE(held, 1u);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_FALSE(lockFilehandle);
  for (const ScratchFolder& folder : folders_) EXPECT_FALSE(isThere(folder)) << folder.path();
}

}  // namespace
