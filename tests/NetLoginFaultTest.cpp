// A login whose drive does not answer, and one without memory.

#include "platform/Clocks.h"
#include "tests/NetLoginFixture.h"
#include "tests/support/FailingHeap.h"

namespace {

class NetLoginFaultTest : public NetLoginFixture {};

TEST_F(NetLoginFaultTest, ALoginIsGivenUpAfterTenSeconds) {
  files().setDrive(L"/net/", {.silent = true});
  double start_ms = Qv::now();
  EXPECT_EQ(NetLogin(kFolder), 0u);
  EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_EQ(Qv::now() - start_ms, 10000);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(NetLogin(kFolder), 0u);
  EXPECT_EQ(Qv::now() - start_ms, 10000) << "while one is late, the next is refused at once";
}

TEST_F(NetLoginFaultTest, WhatALateLoginOpensIsReleasedByItselfAndLeftThere) {
  files().setDrive(L"/net/", {.silent = true});
  EXPECT_EQ(NetLogin(kFolder), 0u);
  files().drive(L"/net/").silent = false;
  EXPECT_EQ(files().runLateErrands(), 1u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(files().liveFiles(), 0u);
  EXPECT_EQ(stateOf(kLockFile), "leftover");
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(stateOf(kLockFile), "live");
}

TEST_F(NetLoginFaultTest, ALateLoginLeavesTheEarlierOneHeld) {
  files().setDrive(L"/net/", {.silent = true});
  EXPECT_EQ(NetLogin(kOther), 1u);
  EXPECT_EQ(NetLogin(kFolder), 0u);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(stateOf(kOtherLockFile), "live");
}

TEST_F(NetLoginFaultTest, ALogoutIsGivenUpAfterTenSecondsAndDoneWhenTheDriveAnswers) {
  EXPECT_EQ(NetLogin(kFolder), 1u);
  files().setDrive(L"/net/", {.silent = true});
  double start_ms = Qv::now();
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(Qv::now() - start_ms, 10000);
  EXPECT_FALSE(lockFilehandle);
  EXPECT_TRUE(files().hasFile(kLockFile));
  EXPECT_EQ(NetLogin(kFolder), 0u) << "the late deletion would take its file";
  files().drive(L"/net/").silent = false;
  files().runLateErrands();
  EXPECT_EQ(stateOf(kLockFile), "gone");
}

TEST_F(NetLoginFaultTest, AMarkThatIsLateKeepsNoLoginFromBeingHeld) {
  os_->faults().fail(FaultPlan::eAnswerErrand, eOsTimedOut, 2);
  double start_ms = Qv::now();
  EXPECT_EQ(NetLogin(kFolder), 1u);
  EXPECT_EQ(Qv::now() - start_ms, 10000);
  EXPECT_TRUE(lockFilehandle);
  EXPECT_EQ(stateOf(kLockFile), "live");
}

// Without memory ----------------------------------------------------------------------------------

TEST_F(NetLoginFaultTest, WithoutMemoryForTheNameOfTheLockFileBadAllocIsThrown) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "a sanitizer's heap stands where ours would";
  bool isThrown = false;
  heap.refuse(0, true);
  try {
    getNetLoginLockFileName(kFolder);
  } catch (const std::bad_alloc&) {
    isThrown = true;
  }
  EXPECT_TRUE(heap.letBe());
  EXPECT_TRUE(isThrown);
}

// Each allocation of a login, or of a logout, is refused once, or with all that follow.
class NetLoginMemoryTest : public NetLoginFixture, public testing::WithParamInterface<bool> {
protected:
  static bool isOnce() { return GetParam(); }
  // False when there was nothing left to refuse, or the heap is not asked.
  template <typename Step>
  static bool isRefused(int nth, uint32_t& result, const Step& step) {
    FailingHeap heap;
    if (!heap.isAsked()) return false;
    heap.refuse(nth, isOnce());
    result = step();
    return heap.letBe();
  }
  static constexpr int kMost = 1000;
};

TEST_P(NetLoginMemoryTest, ALoginAnswersAndTheEarlierOneGoesOnWhereItFails) {
  int failed = 0;
  for (int nth = 0; nth < kMost; ++nth) {
    ASSERT_EQ(NetLogin(kFolder), 1u);
    uint32_t result = 2;
    bool isStruck = isRefused(nth, result, [] { return NetLogin(kOther); });
    if (!isStruck && nth == 0) GTEST_SKIP() << "a sanitizer's heap stands where ours would";
    failed += result == 0;
    EXPECT_EQ(result == 1 ? stateOf(kOtherLockFile) : stateOf(kLockFile), "live") << nth;
    EXPECT_FALSE(lockFilehandle);
    EXPECT_TRUE(result == 1 || lastError() == eOsNoMemory) << nth;
    EXPECT_EQ(NetLogout(), 1u);
    EXPECT_EQ(files().liveFiles(), 0u) << nth;
    OS()->getFileManager()->deleteFile(kLockFile);
    OS()->getFileManager()->deleteFile(kOtherLockFile);
    if (!isStruck) break;
  }
  EXPECT_GT(failed, 5);
}

TEST_P(NetLoginMemoryTest, ALogoutIsDoneAndMayOnlyLeaveTheFile) {
  for (int nth = 0; nth < kMost; ++nth) {
    ASSERT_EQ(NetLogin(kFolder), 1u);
    uint32_t result = 2;
    bool isStruck = isRefused(nth, result, [] { return NetLogout(); });
    if (!isStruck && nth == 0) GTEST_SKIP() << "a sanitizer's heap stands where ours would";
    EXPECT_EQ(result, 1u);
    EXPECT_FALSE(lockFilehandle);
    EXPECT_EQ(files().liveFiles(), 0u) << nth;
    if (isStruck) continue;
    EXPECT_EQ(stateOf(kLockFile), "gone");
    break;
  }
}

INSTANTIATE_TEST_SUITE_P(Refused, NetLoginMemoryTest, testing::Values(true, false),
                         [](const auto& once) { return once.param ? "Once" : "FromThenOn"; });

}  // namespace
