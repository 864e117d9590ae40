// What the fake adds to the promises of files that are locked or marked.

#include <gtest/gtest.h>

#include <stdexcept>

#include "platform/fake/FakeOSScope.h"

namespace {

using Files = iFileManager;

class FakeLocksTest : public testing::Test {
protected:
  static Files* files() { return OS()->getFileManager(); }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }
  // Whether a call answered false and left that error.
  static bool failsWith(uint32_t error, bool answer) { return !answer && lastError() == error; }

  static Files::LockState lockOf(const wchar_t* path) {
    Files::LockState state = Files::eLockUnknown;
    EXPECT_TRUE(files()->askLock(path, state));
    return state;
  }
  static Qv::Ptr<iFile> locked(const wchar_t* path, unsigned access) {
    return files()->openFile(path, access, Files::eOpenExisting, 0, Files::eAttributeHoldLock);
  }

  FakeOSScope os_;
};

}  // namespace

TEST_F(FakeLocksTest, WhatIsToBeLockedIsNeverBehindALink) {
  os_->files().addFile(L"/m/a");
  os_->files().addLink(L"/m/to-a", L"/m/a");
  os_->files().addLink(L"/m/to-none", L"/m/none");
  os_->files().addLink(L"/l", L"/m");
  auto isLocked = [](const wchar_t* path, unsigned creation) {
    return static_cast<bool>(files()->openFile(path, 3, creation, 0, Files::eAttributeHoldLock));
  };
  for (const wchar_t* path : {L"/m/to-a", L"/m/to-none"}) {
    EXPECT_TRUE(failsWith(eOsErrorBase + 40, isLocked(path, Files::eOpenOrCreate)));
    EXPECT_TRUE(failsWith(eOsExists, isLocked(path, Files::eCreateNew)));
  }
  EXPECT_FALSE(os_->files().hasFile(L"/m/none"));
  EXPECT_TRUE(files()->openFile(L"/m/to-a", 3, Files::eOpenOrCreate, 0, 0)) << "without a lock";
  EXPECT_TRUE(isLocked(L"/l/a", Files::eOpenOrCreate)) << "its folder may be one";
}

TEST_F(FakeLocksTest, AMarkedFileCanBeReadByAllAndTellsWhen) {
  os_->files().addFile(L"/m/a");
  os_->files().setMode(L"/m/a", 0600);
  os_->files().addLink(L"/m/to-a", L"/m/a");
  EXPECT_EQ(os_->files().markedAt_ms(L"/m/a"), 0);
  EXPECT_TRUE(failsWith(eOsErrorBase + 40, files()->markFile(L"/m/to-a")));
  EXPECT_EQ(os_->files().modeOf(L"/m/a"), 0600u);
  os_->clock().step(25);
  EXPECT_TRUE(files()->markFile(L"/m/a"));
  EXPECT_EQ(os_->files().modeOf(L"/m/a"), 0644u);
  EXPECT_EQ(os_->files().markedAt_ms(L"/m/a"), Qv::now());
  os_->files().setDrive(L"/ro/", {.readOnly = true});
  os_->files().addFile(L"/ro/a");
  EXPECT_TRUE(failsWith(eOsReadOnly, files()->markFile(L"/ro/a")));
  EXPECT_EQ(os_->files().markedAt_ms(L"/ro/a"), 0);
}

TEST_F(FakeLocksTest, ALockIsHeldByWhomTheTestSays) {
  os_->files().addFile(L"/m/a");
  EXPECT_EQ(lockOf(L"/m/a"), Files::eLockFree);
  os_->files().setLocked(L"/m/a", true);
  EXPECT_EQ(lockOf(L"/m/a"), Files::eLockHeld);
  EXPECT_TRUE(failsWith(eOsAccessDenied, bool(locked(L"/m/a", Files::eAccessWrite))));
  EXPECT_TRUE(locked(L"/m/a", Files::eAccessReadWrite)) << "it is shared";
  os_->files().setLocked(L"/m/a", false);
  EXPECT_EQ(lockOf(L"/m/a"), Files::eLockFree);
}

TEST_F(FakeLocksTest, ADriveMayKnowTheLocksOfThisMachineAloneOrNone) {
  os_->files().setDrive(L"/here/", {.locks = FakeDrive::eLocksOfThisMachine});
  os_->files().addFile(L"/here/a");
  EXPECT_EQ(lockOf(L"/here/a"), Files::eLockFreeHere);
  Qv::Ptr<iFile> holder = locked(L"/here/a", Files::eAccessRead);
  EXPECT_EQ(lockOf(L"/here/a"), Files::eLockHeld);
  os_->files().setDrive(L"/none/", {.locks = FakeDrive::eNoLocks});
  os_->files().addFile(L"/none/a");
  Qv::Ptr<iFile> other = locked(L"/none/a", Files::eAccessWrite);
  EXPECT_EQ(lockOf(L"/none/a"), Files::eLockUnknown);
  EXPECT_TRUE(locked(L"/none/a", Files::eAccessWrite)) << "nobody is kept out";
}

TEST_F(FakeLocksTest, NoLinkIsAskedAndNoSilentDriveWithoutAnErrand) {
  Files::LockState state = Files::eLockHeld;
  os_->files().addFile(L"/m/a");
  os_->files().addLink(L"/m/to-a", L"/m/a");
  EXPECT_TRUE(failsWith(eOsErrorBase + 40, files()->askLock(L"/m/to-a", state)));
  os_->files().setDrive(L"/net/", {.silent = true});
  os_->files().addFile(L"/net/a");
  EXPECT_THROW(files()->askLock(L"/net/a", state), std::logic_error);
  os_->faults().fail(FaultPlan::eAskLock, eOsIoError);
  EXPECT_TRUE(failsWith(eOsIoError, files()->askLock(L"/m/a", state)));
  EXPECT_EQ(state, Files::eLockUnknown);
}
