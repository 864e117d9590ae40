// What the fake adds to the promises of files that are locked or marked.

#include <gtest/gtest.h>

#include "platform/fake/FakeOSScope.h"

namespace {

using Files = iFileManager;

class FakeLocksTest : public testing::Test {
protected:
  static Files* files() { return OS()->getFileManager(); }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }
  // Whether a call answered false and left that error.
  static bool failsWith(uint32_t error, bool answer) { return !answer && lastError() == error; }

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
