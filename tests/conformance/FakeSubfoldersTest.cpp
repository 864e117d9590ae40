// What the fake's links, drives and crashes make of deleting a folder below another.

#include <gtest/gtest.h>

#include <string>

#include "platform/PathHelpers.h"
#include "platform/fake/FakeCrash.h"
#include "platform/fake/FakeOSScope.h"

namespace {

constexpr uint32_t kOtherDrive = eOsErrorBase + 18;

class FakeSubfoldersTest : public testing::Test {
protected:
  FakeSubfoldersTest() {
    os_->files().addFile(L"/m/sub/a");
    os_->files().addFile(L"/m/sub/deep/b");
    os_->files().addFile(L"/canary/inner/song");
  }
  ~FakeSubfoldersTest() override { EXPECT_TRUE(os_->files().hasFile(L"/canary/inner/song")); }

  static iFileManager* files() { return OS()->getFileManager(); }
  void expectRefused(const wchar_t* folder, const wchar_t* subfolder, uint32_t error) {
    EXPECT_FALSE(files()->deleteSubfolder(folder, subfolder, {}));
    EXPECT_EQ(OS()->getErrors()->getLastError(), error);
    EXPECT_TRUE(os_->files().hasFile(L"/m/sub/a") && os_->files().hasFile(L"/m/sub/deep/b"));
  }

  FakeOSScope os_;
};

}  // namespace

TEST_F(FakeSubfoldersTest, ALinkInsideGoesItselfAndOneOnTheWayLeadsNowhere) {
  os_->files().addLink(L"/m/sub/deep/link", L"/canary");
  os_->files().addLink(L"/m/link", L"/canary");
  expectRefused(L"/m", L"/m/link", eOsNotAFolder);
  expectRefused(L"/m", L"/m/link/inner", eOsNotAFolder);
  EXPECT_TRUE(files()->deleteSubfolder(L"/m", L"/m/sub", {}));
  EXPECT_FALSE(files()->folderExists(L"/m/sub"));
  EXPECT_TRUE(files()->folderExists(L"/m/link")) << "beside it nothing goes";
}

TEST_F(FakeSubfoldersTest, TheFolderAboveMayBeBehindALink) {
  os_->files().addLink(L"/to-m", L"/m");
  os_->files().addLink(L"/To-M", L"/canary");
  expectRefused(L"/to-m", L"/To-M/sub", eOsNotFound);
  os_->files().addFile(L"/canary/sub/x");
  expectRefused(L"/to-m", L"/To-M/sub", eOsInvalid);
  EXPECT_TRUE(files()->deleteSubfolder(L"/to-m", L"/to-m/sub", {}));
  EXPECT_FALSE(files()->folderExists(L"/m/sub"));
}

TEST_F(FakeSubfoldersTest, ADriveThatIsMountedInsideStaysAndTheRestGoes) {
  os_->files().setDrive(L"/m/sub/deep/drive/", {});
  os_->files().addFile(L"/m/sub/deep/drive/kept");
  expectRefused(L"/m", L"/m/sub/deep/drive", kOtherDrive);
  EXPECT_FALSE(files()->deleteSubfolder(L"/m", L"/m/sub", {}));
  EXPECT_EQ(OS()->getErrors()->getLastError(), kOtherDrive);
  EXPECT_TRUE(os_->files().hasFile(L"/m/sub/deep/drive/kept"));
  EXPECT_FALSE(os_->files().hasFile(L"/m/sub/a"));
  EXPECT_FALSE(os_->files().hasFile(L"/m/sub/deep/b"));
}

TEST_F(FakeSubfoldersTest, OfADriveThatIsReadOnlyNothingGoes) {
  os_->files().setDrive(L"/m/", {.readOnly = true});
  expectRefused(L"/m", L"/m/sub", eOsReadOnly);
}

TEST_F(FakeSubfoldersTest, OfFilesThatMatchTheRestGoesAndTheFirstFailureIsTold) {
  for (const wchar_t* name : {L"/m/a.1", L"/m/a.2", L"/m/a.3", L"/m/b.1"})
    os_->files().addFile(name);
  os_->files().addLink(L"/m/a.4", L"/canary/inner/song");
  os_->files().addLink(L"/m/a.5", L"/none");
  os_->files().addLink(L"/to-m", L"/m");
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied, 1);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsReadOnly, 3);
  EXPECT_FALSE(files()->deleteMatching(L"/to-m/a.?"));
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsAccessDenied);
  Vector<iFileManager::ListedFile> left;
  EXPECT_TRUE(files()->listFiles(L"/m/*", left));
  ASSERT_EQ(left.size(), 3u);
  EXPECT_EQ(left[0].name, L"a.1");
  EXPECT_EQ(left[1].name, L"a.3");
  EXPECT_EQ(left[2].name, L"b.1");
  os_->faults().fail(FaultPlan::eDeleteMatching, eOsIoError);
  EXPECT_FALSE(files()->deleteMatching(L"/m/a.?"));
  EXPECT_TRUE(os_->files().hasFile(L"/m/a.1"));
  EXPECT_TRUE(files()->deleteMatching(L"/m/a.?"));
  os_->files().setDrive(L"/m/", {.readOnly = true});
  EXPECT_FALSE(files()->deleteMatching(L"/m/*"));
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsReadOnly);
}

TEST_F(FakeSubfoldersTest, AfterACrashEachNameInItIsThereOrNot) {
  FakeCrash crash(*os_);
  ASSERT_TRUE(files()->deleteSubfolder(L"/m", L"/m/sub", {}));
  unsigned whole = 0;
  unsigned gone = 0;
  unsigned emptied = 0;
  crash.forEachState([&](const std::string&) {
    bool holdsA = os_->files().hasFile(L"/m/sub/a");
    bool holdsB = os_->files().hasFile(L"/m/sub/deep/b");
    bool isThere = files()->folderExists(L"/m/sub");
    whole += holdsA && holdsB && isThere;
    gone += !isThere;
    emptied += isThere && !holdsA && !holdsB;
  });
  EXPECT_GT(whole, 0u);
  EXPECT_GT(gone, 0u);
  EXPECT_GT(emptied, 0u);
}
