#include "platform/DurableFolder.h"

#include <gtest/gtest.h>

#include <string>

#include "platform/fake/FakeCrash.h"
#include "platform/fake/FakeOSScope.h"

namespace {

class DurableFolderTest : public ::testing::Test {
protected:
  DurableFolderTest() { os_->files().addFolder(L"/m"); }

  bool isFolder(const wchar_t* path) { return os_->files().folderExists(path); }

  FakeOSScope os_;
};

TEST_F(DurableFolderTest, AFolderSurvivesALossOfPowerWithItsParents) {
  for (const wchar_t* path : {L"/m/a/b/c", L"/m/d/e/"}) {
    FakeCrash crash(*os_);
    ASSERT_TRUE(makeDurableFolder(path));
    size_t states = crash.forEachStateNow(
        [&](const std::string& what) { EXPECT_TRUE(isFolder(path)) << what; });
    EXPECT_GT(states, 0u);
  }
}

TEST_F(DurableFolderTest, WithOneThatIsThereNothingIsDone) {
  unsigned before = os_->faults().calls(FaultPlan::eSyncFolder);
  EXPECT_TRUE(makeDurableFolder(L"/m"));
  EXPECT_TRUE(makeDurableFolder(L"/m/"));
  EXPECT_TRUE(makeDurableFolder(L"/"));
  EXPECT_EQ(os_->faults().calls(FaultPlan::eCreateFolder), 0u);
  EXPECT_EQ(os_->faults().calls(FaultPlan::eSyncFolder), before);
}

TEST_F(DurableFolderTest, WhatCannotBeMadeOrMadeDurableIsAFailureThatSaysWhy) {
  for (FaultPlan::eCall call : {FaultPlan::eCreateFolder, FaultPlan::eSyncFolder}) {
    os_->faults().fail(call, eOsIoError);
    EXPECT_FALSE(makeDurableFolder(L"/m/a/b"));
    EXPECT_EQ(OS()->getErrors()->getLastError(), eOsIoError);
    EXPECT_FALSE(isFolder(L"/m/a/b")) << "its parent was not made";
  }
}

}  // namespace
