// What the fake's links, drives and crashes make of deleting media.

#include <gtest/gtest.h>

#include <stdexcept>
#include <string>

#include "platform/PathHelpers.h"
#include "platform/fake/FakeCrash.h"
#include "platform/fake/FakeOSScope.h"

namespace {

using Text = LightweightString<wchar_t>;

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
  // What a file of that folder takes along when it is deleted. 1, or why that stayed.
  uint32_t taken(const Text& folder, const wchar_t* subfolder) {
    MediaLeft left;
    EXPECT_TRUE(files()->openFile(folder + L"/a.mov", iFileManager::eAccessWrite,
                                  iFileManager::eCreateNew, 0, 0));
    EXPECT_TRUE(files()->deleteMedia({folder + L"/a.mov", {}, subfolder, {}}, left));
    return left.subfolder;
  }
  void expectRefused(const wchar_t* folder, const wchar_t* subfolder, uint32_t error) {
    EXPECT_EQ(taken(folder, subfolder), error);
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
  EXPECT_EQ(taken(L"/m", L"/m/sub"), 1u);
  EXPECT_FALSE(files()->folderExists(L"/m/sub"));
  EXPECT_TRUE(files()->folderExists(L"/m/link")) << "beside it nothing goes";
}

TEST_F(FakeSubfoldersTest, TheFolderAboveMayBeBehindALink) {
  os_->files().addLink(L"/to-m", L"/m");
  os_->files().addLink(L"/To-M", L"/canary");
  expectRefused(L"/to-m", L"/To-M/sub", eOsNotFound);
  os_->files().addFile(L"/canary/sub/x");
  expectRefused(L"/to-m", L"/To-M/sub", eOsInvalid);
  EXPECT_EQ(taken(L"/to-m", L"/to-m/sub"), 1u);
  EXPECT_FALSE(files()->folderExists(L"/m/sub"));
}

TEST_F(FakeSubfoldersTest, ADriveThatIsMountedInsideStaysAndTheRestGoes) {
  os_->files().setDrive(L"/m/sub/deep/drive/", {});
  os_->files().addFile(L"/m/sub/deep/drive/kept");
  expectRefused(L"/m", L"/m/sub/deep/drive", kOtherDrive);
  EXPECT_EQ(taken(L"/m", L"/m/sub"), kOtherDrive);
  EXPECT_TRUE(os_->files().hasFile(L"/m/sub/deep/drive/kept"));
  EXPECT_FALSE(os_->files().hasFile(L"/m/sub/a"));
  EXPECT_FALSE(os_->files().hasFile(L"/m/sub/deep/b"));
}

TEST_F(FakeSubfoldersTest, OfADriveThatIsReadOnlyNothingGoes) {
  os_->files().addFile(L"/m/a.mov");
  os_->files().setDrive(L"/m/", {.readOnly = true});
  MediaLeft left;
  EXPECT_FALSE(files()->deleteMedia({L"/m/a.mov", L"*", L"/m/sub", {}}, left));
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsReadOnly);
  EXPECT_EQ(left.subfolder, eOsReadOnly);
  EXPECT_EQ(left.sideFiles, eOsReadOnly);
  for (const wchar_t* kept : {L"/m/a.mov", L"/m/sub/a", L"/m/sub/deep/b"})
    EXPECT_TRUE(os_->files().hasFile(kept));
}

// What was read of it lies elsewhere.
TEST_F(FakeSubfoldersTest, ASymbolicLinkGoesWithWhatLiesBesideItAndItsSubfolderStays) {
  os_->files().addFile(L"/canary/a.mov");
  os_->files().addFile(L"/m/a.mov.1");
  os_->files().addLink(L"/m/a.mov", L"/canary/a.mov");
  MediaLeft left;
  EXPECT_TRUE(files()->deleteMedia({L"/m/a.mov", L"a.mov.*", L"/m/sub", {}}, left));
  EXPECT_EQ(left.subfolder, eOsInvalid);
  EXPECT_EQ(left.sideFiles, 1u);
  EXPECT_FALSE(files()->exists(L"/m/a.mov") || files()->exists(L"/m/a.mov.1"));
  EXPECT_TRUE(os_->files().hasFile(L"/canary/a.mov"));
  EXPECT_TRUE(os_->files().hasFile(L"/m/sub/a"));
}

TEST_F(FakeSubfoldersTest, OfFilesThatMatchTheRestGoesAndTheFirstFailureIsTold) {
  for (const wchar_t* name : {L"/m/a.1", L"/m/a.2", L"/m/a.3", L"/m/b.1"})
    os_->files().addFile(name);
  os_->files().addLink(L"/m/a.4", L"/canary/inner/song");
  os_->files().addLink(L"/m/a.5", L"/none");
  os_->files().addLink(L"/to-m", L"/m");
  os_->files().addFile(L"/m/a");
  // The first of them is the file itself.
  os_->faults().fail(FaultPlan::eDeleteFile, eOsAccessDenied, 2);
  os_->faults().fail(FaultPlan::eDeleteFile, eOsReadOnly, 4);
  MediaLeft leftOf;
  EXPECT_TRUE(files()->deleteMedia({L"/to-m/a", L"a.?", {}, {}}, leftOf));
  EXPECT_EQ(leftOf.sideFiles, eOsAccessDenied);
  Vector<iFileManager::ListedFile> left;
  EXPECT_TRUE(files()->listFiles(L"/m/*", left));
  ASSERT_EQ(left.size(), 3u);
  EXPECT_EQ(left[0].name, L"a.1");
  EXPECT_EQ(left[1].name, L"a.3");
  EXPECT_EQ(left[2].name, L"b.1");
}

TEST_F(FakeSubfoldersTest, EachPartCanBeMadeToFailAndTheRestGoes) {
  const MediaRemoval media{L"/m/a.mov", L"a.mov.*", L"/m/sub", {}};
  auto arrange = [this](FaultPlan::eCall call) {
    for (const wchar_t* name : {L"/m/a.mov", L"/m/a.mov.1", L"/m/sub/a"})
      os_->files().addFile(name);
    os_->faults().fail(call, eOsIoError);
  };
  auto left = [this] {
    std::string text;
    for (const wchar_t* name : {L"/m/a.mov", L"/m/a.mov.1", L"/m/sub/a"})
      text += os_->files().hasFile(name) ? '1' : '0';
    return text;
  };
  MediaLeft why;
  arrange(FaultPlan::eDeleteMedia);
  EXPECT_FALSE(files()->deleteMedia(media, why));
  EXPECT_EQ(OS()->getErrors()->getLastError(), eOsIoError);
  EXPECT_EQ(left(), "111");
  arrange(FaultPlan::eDeleteFile);
  EXPECT_FALSE(files()->deleteMedia(media, why));
  EXPECT_EQ(left(), "100");
  arrange(FaultPlan::eDeleteSubfolder);
  EXPECT_TRUE(files()->deleteMedia(media, why));
  EXPECT_EQ(why.subfolder, eOsIoError);
  EXPECT_EQ(left(), "001");
  arrange(FaultPlan::eDeleteSideFiles);
  EXPECT_TRUE(files()->deleteMedia(media, why));
  EXPECT_EQ(why.sideFiles, eOsIoError);
  EXPECT_EQ(why.subfolder, 1u);
  EXPECT_EQ(left(), "010");
}

TEST_F(FakeSubfoldersTest, ASilentDriveIsLookedAtByAnErrandAlone) {
  os_->files().addFile(L"/net/a");
  os_->files().setDrive(L"/net/", {.silent = true});
  MediaLeft left;
  EXPECT_THROW(files()->deleteMedia({L"/net/a", {}, {}, {}}, left), std::logic_error);
  EXPECT_TRUE(os_->files().hasFile(L"/net/a"));
}

TEST_F(FakeSubfoldersTest, AfterACrashEachNameInItIsThereOrNot) {
  FakeCrash crash(*os_);
  ASSERT_EQ(taken(L"/m", L"/m/sub"), 1u);
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
