// What the fake adds to the promises of drives and names: drives that fall silent, and what a test
// says of folders, links and shares.

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/DriveErrand.h"
#include "platform/PathHelpers.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/Pattern.h"

using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class FakeDrivesTest : public testing::Test {
protected:
  static iFileManager* files() { return OS()->getFileManager(); }
  static uint32_t lastError() { return OS()->getErrors()->getLastError(); }
  double passed_ms() const { return Qv::now() - start_; }

  std::vector<std::wstring> roots() {
    std::vector<std::wstring> all;
    for (const Qv::Ptr<iDiskDrive>& drive : files()->getDisks())
      all.emplace_back(drive->getRootPath().view());
    return all;
  }
  std::vector<std::wstring> listed(const wchar_t* pattern) {
    Vector<iFileManager::ListedFile> found;
    EXPECT_TRUE(files()->listFiles(pattern, found));
    std::vector<std::wstring> names;
    for (const iFileManager::ListedFile& file : found) names.emplace_back(file.name.view());
    return names;
  }
  static bool hasSpace(iDiskDrive& drive) {
    uint64_t free = 0;
    uint64_t total = 0;
    return drive.getSpace(free, total);
  }
  static std::wstring target(const wchar_t* path) {
    PathString behind;
    return files()->followLinks(path, behind) ? std::wstring(behind.view()) : L"(none)";
  }
  // Whether a call answered false and left that error.
  static bool failsWith(uint32_t error, bool answer) { return !answer && lastError() == error; }

  FakeOSScope os_;
  double start_ = Qv::now();
};

struct Errand final : public iTask {
  explicit Errand(std::function<void()> work) : what(std::move(work)) {}
  void run() override { what(); }
  std::function<void()> what;
};

Qv::Ptr<iTask> errand(std::function<void()> work) {
  return Qv::Ptr<iTask>(new Errand(std::move(work)));
}

}  // namespace

TEST_F(FakeDrivesTest, TheListedDrivesAreThereInTheOrderInWhichTheyWereFirstSet) {
  os_->files().setDrive(L"/z", {.listed = true});
  os_->files().setDrive(L"/m/", {});
  os_->files().setDrive(L"/a/", {.type = iDiskDrive::eRemovable,
                                 .sectorSize = 4096,
                                 .listed = true,
                                 .excluded = true,
                                 .fileSystem = L"vfat"});
  os_->files().setDrive(L"/z", {.freeBytes = 7, .totalBytes = 9});
  EXPECT_THAT(roots(), ElementsAre(L"/a/"));
  os_->files().drive(L"/z").listed = true;
  EXPECT_THAT(roots(), ElementsAre(L"/z/", L"/a/"));
  Vector<Qv::Ptr<iDiskDrive>> drives = files()->getDisks();
  EXPECT_EQ(drives[1]->getType(), iDiskDrive::eRemovable);
  EXPECT_EQ(drives[1]->getSectorSize(), 4096u);
  EXPECT_EQ(drives[1]->getFileSystem(), L"vfat");
  EXPECT_TRUE(drives[1]->isExcluded());
  EXPECT_TRUE(drives[1]->isAvailable());
  EXPECT_FALSE(drives[0]->isExcluded());
  EXPECT_THROW(os_->files().drive(L"/z/"), std::out_of_range);
}

TEST_F(FakeDrivesTest, ADriveIsFoundByTheLongestPrefixAndWithoutOneItIsTheRoot) {
  os_->files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork});
  os_->files().addLink(L"/m/away", L"/net/b");
  EXPECT_EQ(files()->getDisk(L"/m/a")->getRootPath(), L"/");
  EXPECT_EQ(files()->getDisk(L"/net/a")->getRootPath(), L"/net/");
  EXPECT_EQ(files()->getDisk(L"/net")->getRootPath(), L"/net/");
  EXPECT_EQ(files()->getDisk(L"/network")->getRootPath(), L"/");
  EXPECT_EQ(files()->getDisk(L"/m/away/c")->getRootPath(), L"/net/") << "links are followed";
  os_->files().setSeparator(L'\\');
  os_->files().setDrive(L"D:", {});
  EXPECT_EQ(files()->getDisk(L"D:\\a")->getRootPath(), L"D:\\");
}

TEST_F(FakeDrivesTest, ADriveTellsItsSpaceAsItIsNowAndTheRestAsItWas) {
  os_->files().setDrive(L"/m/", {.freeBytes = 7, .totalBytes = 9});
  Qv::Ptr<iDiskDrive> drive = files()->getDisk(L"/m/a");
  os_->files().drive(L"/m/") = {.type = iDiskDrive::eNetwork, .freeBytes = 5, .totalBytes = 8};
  uint64_t free = 0;
  uint64_t total = 0;
  EXPECT_TRUE(drive->getSpace(free, total));
  EXPECT_EQ(free, 5u);
  EXPECT_EQ(total, 8u);
  EXPECT_EQ(drive->getType(), iDiskDrive::eFixed);
  os_->files().drive(L"/m/").silent = true;
  EXPECT_TRUE(failsWith(eOsTimedOut, drive->getSpace(free, total)));
  EXPECT_EQ(free, 0u);
  EXPECT_EQ(total, 0u);
  os_->faults().fail(FaultPlan::eGetSpace, eOsIoError);
  free = total = 1;
  EXPECT_TRUE(failsWith(eOsIoError, drive->getSpace(free, total)));
  EXPECT_EQ(free + total, 0u);
}

TEST_F(FakeDrivesTest, AQuestionToASilentDriveCostsItsPatienceOnceUntilItAnswersAgain) {
  os_->files().setDrive(L"/net/", {.silent = true});
  Qv::Ptr<iDiskDrive> drive = files()->getDisk(L"/net/a");
  EXPECT_EQ(passed_ms(), 0) << "nobody asked the drive itself";
  EXPECT_FALSE(drive->isAvailable());
  EXPECT_EQ(passed_ms(), kDrivePatience_ms);
  EXPECT_FALSE(drive->isAvailable());
  EXPECT_FALSE(hasSpace(*drive));
  EXPECT_FALSE(hasSpace(*files()->getDisk(L"/net/b")));
  EXPECT_EQ(passed_ms(), kDrivePatience_ms);
  os_->files().drive(L"/net/").silent = false;
  EXPECT_FALSE(drive->isAvailable()) << "as when it was last asked";
  EXPECT_TRUE(hasSpace(*drive));
  EXPECT_TRUE(drive->isAvailable());
  os_->files().drive(L"/net/").silent = true;
  EXPECT_FALSE(hasSpace(*drive));
  EXPECT_FALSE(drive->isAvailable());
  EXPECT_EQ(passed_ms(), 2 * kDrivePatience_ms);
}

TEST_F(FakeDrivesTest, SeveralSilentDrivesOfTheListAreAskedAtOnce) {
  os_->files().setDrive(L"/a/", {.listed = true, .silent = true});
  os_->files().setDrive(L"/b/", {.listed = true});
  os_->files().setDrive(L"/c/", {.listed = true, .silent = true});
  os_->files().setDrive(L"/d/", {.silent = true});
  Vector<Qv::Ptr<iDiskDrive>> drives = files()->getDisks();
  ASSERT_EQ(drives.size(), 3u);
  EXPECT_FALSE(drives[0]->isAvailable());
  EXPECT_TRUE(drives[1]->isAvailable());
  EXPECT_FALSE(drives[2]->isAvailable());
  EXPECT_EQ(files()->getDisks().size(), 3u);
  EXPECT_EQ(passed_ms(), kDrivePatience_ms);
  EXPECT_FALSE(files()->getDisk(L"/d/")->isAvailable());
  EXPECT_EQ(passed_ms(), 2 * kDrivePatience_ms) << "the one that is not listed was not asked";
}

TEST_F(FakeDrivesTest, AnErrandRunsAtOnceOnADriveThatAnswers) {
  os_->files().setDrive(L"/net/", {.type = iDiskDrive::eNetwork});
  os_->files().addFile(L"/net/a");
  EXPECT_EQ(askDrive(L"/net/a", [] { return files()->exists(L"/net/a"); }), true);
  EXPECT_EQ(askDrive(L"/net/a", [] { return files()->exists(L"/net/b"); }), false);
  EXPECT_EQ(lastError(), eOsNotFound);
  OS()->getErrors()->setLastError(eOsInvalid);
  EXPECT_TRUE(files()->onDrive(L"/net/a", errand([] { files()->exists(L"/none"); }), 1));
  EXPECT_EQ(lastError(), eOsInvalid) << "it runs on a thread of the drive's own";
  EXPECT_TRUE(files()->onDrive(L"/m/a", errand([] { files()->exists(L"/none"); }), 1));
  EXPECT_EQ(lastError(), eOsNotFound) << "and here on the caller's";
  EXPECT_EQ(passed_ms(), 0);
  EXPECT_TRUE(failsWith(eOsInvalid, files()->onDrive(L"/net/a", {}, 1)));
}

TEST_F(FakeDrivesTest, AnErrandWithoutMemoryFailsAlsoALateOne) {
  os_->files().setDrive(L"/net/", {.silent = true});
  auto starve = [] { throw std::bad_alloc(); };
  EXPECT_TRUE(failsWith(eOsNoMemory, files()->onDrive(L"/m/a", errand(starve), 1)));
  EXPECT_TRUE(failsWith(eOsTimedOut, files()->onDrive(L"/net/a", errand(starve), 1)));
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_THROW(files()->exists(L"/net/a"), std::logic_error) << "no errand runs any more";
}

TEST_F(FakeDrivesTest, ASilentDriveHoldsOneErrandAndRefusesTheNextAtOnce) {
  os_->files().setDrive(L"/net/", {.silent = true});
  os_->files().setDrive(L"/far/", {.silent = true});
  std::vector<int> ran;
  auto send = [&](const wchar_t* path, int mark) {
    return files()->onDrive(path, errand([&ran, mark] { ran.push_back(mark); }), 300);
  };
  EXPECT_TRUE(failsWith(eOsTimedOut, send(L"/net/a", 1)));
  EXPECT_EQ(passed_ms(), 300);
  OS()->getErrors()->setLastError(0);
  EXPECT_TRUE(failsWith(eOsTimedOut, send(L"/net/b", 2)));
  EXPECT_EQ(passed_ms(), 300);
  EXPECT_FALSE(send(L"/far/a", 3));
  EXPECT_EQ(passed_ms(), 600) << "each drive has its own thread";
  EXPECT_TRUE(send(L"/m/a", 4));
  EXPECT_THAT(ran, ElementsAre(4));
  EXPECT_EQ(os_->files().lateErrands(), 2u);
  EXPECT_EQ(os_->files().runLateErrands(), 2u);
  EXPECT_THAT(ran, ElementsAre(4, 1, 3)) << "a refused one never runs";
  EXPECT_EQ(os_->files().lateErrands(), 0u);
  EXPECT_FALSE(send(L"/net/a", 5));
  EXPECT_EQ(passed_ms(), 900) << "it has ended: the next one is waited for";
}

TEST_F(FakeDrivesTest, ADriveThatAnswersAgainEndsItsErrandBeforeTheNext) {
  os_->files().setDrive(L"/net/", {.silent = true});
  std::vector<int> ran;
  EXPECT_FALSE(files()->onDrive(L"/net/", errand([&] { ran.push_back(1); }), 300));
  os_->files().drive(L"/net/").silent = false;
  EXPECT_TRUE(files()->onDrive(L"/net/", errand([&] { ran.push_back(2); }), 300));
  EXPECT_THAT(ran, ElementsAre(1, 2));
}

TEST_F(FakeDrivesTest, ALateErrandMayLookAtItsDriveAndLeavesTheLastErrorAlone) {
  os_->files().setDrive(L"/net/", {.silent = true});
  os_->files().addFile(L"/net/a");
  bool found = false;
  auto look = [&] {
    found = files()->exists(L"/net/a");
    files()->exists(L"/net/b");
  };
  EXPECT_FALSE(files()->onDrive(L"/net/a", errand(look), 300));
  EXPECT_EQ(os_->files().runLateErrands(), 1u);
  EXPECT_TRUE(found);
  EXPECT_EQ(lastError(), eOsTimedOut);
}

TEST_F(FakeDrivesTest, WhatIsHeldWhenTheFakeGoesNeverRuns) {
  bool ran = false;
  auto alive = std::make_shared<int>(0);
  {
    FakeOSScope inner;
    inner->files().setDrive(L"/net/", {.silent = true});
    Qv::Ptr<iFile> file = files()->openFile(L"/a", 3, 3, 0, 0);
    files()->onDrive(L"/net/a", errand([&ran, alive, file] { ran = true; }), 1);
    file.reset();
    EXPECT_EQ(inner->files().liveFiles(), 1u);
  }
  EXPECT_FALSE(ran);
  EXPECT_EQ(alive.use_count(), 1);
}

TEST_F(FakeDrivesTest, LookingAtASilentDriveWithoutAnErrandIsAFailure) {
  os_->files().setDrive(L"/net/", {.listed = true, .silent = true});
  os_->files().addFile(L"/net/a");
  Vector<iFileManager::ListedFile> found;
  PathString behind;
  EXPECT_THROW(files()->exists(L"/net/a"), std::logic_error);
  EXPECT_THROW(files()->openFile(L"/net/a", 1, 0, 0, 0), std::logic_error);
  EXPECT_THROW(files()->folderExists(L"/net"), std::logic_error);
  EXPECT_THROW(files()->isWritable(L"/net/"), std::logic_error);
  EXPECT_THROW(files()->listFiles(L"/net/*", found), std::logic_error);
  EXPECT_THROW(files()->renameFile(L"/m/a", L"/net/b"), std::logic_error);
  EXPECT_THROW(files()->syncFolder(L"/net/"), std::logic_error);
  EXPECT_THROW(files()->followLinks(L"/net/a", behind), std::logic_error);
  EXPECT_THROW(files()->copyMode(L"/net/a", L"/net/a"), std::logic_error);
  EXPECT_THROW(files()->markFile(L"/net/a"), std::logic_error);
  EXPECT_THROW(files()->deleteFile(L"/net/a"), std::logic_error);
  EXPECT_TRUE(os_->files().hasFile(L"/net/a")) << "a test may look";
  os_->files().addLink(L"/m/link", L"/net/a");
  EXPECT_THROW(files()->exists(L"/m/link"), std::logic_error);
  EXPECT_TRUE(files()->deleteFile(L"/m/link")) << "the link itself lies elsewhere";
  EXPECT_EQ(files()->getUNCName(L"/net/a"), L"") << "lists are no drive";
}

TEST_F(FakeDrivesTest, AFolderIsThereWhenItWasAddedOrSomethingLiesInIt) {
  os_->files().addFolder(L"/m/Material/");
  os_->files().addFile(L"/n/deep/file");
  os_->files().addLink(L"/l/link", L"/n");
  os_->files().addLink(L"/nowhere", L"/none");
  for (const wchar_t* path : {L"/", L"/m", L"/m/", L"/m/Material", L"/m/Material/", L"/n",
                              L"/n/deep", L"/l", L"/l/link", L"/l/link/", L"/l/link/deep"}) {
    EXPECT_TRUE(files()->folderExists(path)) << toUTF8(path).c_str();
    EXPECT_TRUE(files()->exists(path)) << toUTF8(path).c_str();
  }
  EXPECT_TRUE(failsWith(eOsNotFound, files()->folderExists(L"/m/Mat")));
  EXPECT_TRUE(failsWith(eOsNotFound, files()->folderExists(L"")));
  EXPECT_TRUE(failsWith(eOsNotFound, files()->folderExists(L"/nowhere")));
  EXPECT_TRUE(failsWith(eOsNotAFolder, files()->folderExists(L"/n/deep/file")));
  EXPECT_TRUE(failsWith(eOsIsAFolder, static_cast<bool>(files()->openFile(L"/n", 1, 0, 0, 0))));
  os_->files().removeFolder(L"/n/");
  EXPECT_FALSE(files()->folderExists(L"/n"));
  EXPECT_FALSE(os_->files().hasFile(L"/n/deep/file"));
  EXPECT_TRUE(files()->folderExists(L"/m"));
}

TEST_F(FakeDrivesTest, WhatCanBeWrittenIsWhatTheTestSays) {
  os_->files().setDrive(L"/ro/", {.readOnly = true});
  os_->files().addFile(L"/ro/a");
  os_->files().addFile(L"/m/a");
  os_->files().addFile(L"/m/b");
  os_->files().setReadOnly(L"/m/b");
  os_->files().addLink(L"/link", L"/m/b");
  EXPECT_TRUE(files()->isWritable(L"/m/"));
  EXPECT_TRUE(files()->isWritable(L"/m/a"));
  EXPECT_TRUE(failsWith(eOsAccessDenied, files()->isWritable(L"/m/b")));
  EXPECT_TRUE(failsWith(eOsAccessDenied, files()->isWritable(L"/link")));
  EXPECT_TRUE(failsWith(eOsReadOnly, files()->isWritable(L"/ro")));
  EXPECT_TRUE(failsWith(eOsReadOnly, files()->isWritable(L"/ro/a")));
  EXPECT_TRUE(failsWith(eOsNotFound, files()->isWritable(L"/none")));
  os_->files().setWritable(L"/m/", false);
  EXPECT_TRUE(failsWith(eOsAccessDenied, files()->isWritable(L"/m")));
  EXPECT_TRUE(files()->isWritable(L"/m/a")) << "of the very path";
  os_->files().setWritable(L"/m", true);
  EXPECT_TRUE(files()->isWritable(L"/m/"));
}

TEST_F(FakeDrivesTest, AListingHasTheMatchingFilesOfThatFolderAlone) {
  os_->files().addFile(L"/m/b.txt", patternBytes(3));
  os_->files().addFile(L"/m/a.txt");
  os_->files().addFile(L"/m/c.bin");
  os_->files().addFile(L"/m/sub/d.txt");
  os_->files().addFile(L"/mother.txt");
  os_->files().addLink(L"/m/aa.txt", L"/m/b.txt");
  os_->files().addLink(L"/m/nowhere.txt", L"/none");
  os_->files().addLink(L"/link", L"/m");
  EXPECT_THAT(listed(L"/m/*.txt"), ElementsAre(L"a.txt", L"aa.txt", L"b.txt"));
  EXPECT_THAT(listed(L"/link/?.*"), ElementsAre(L"a.txt", L"b.txt", L"c.bin"));
  EXPECT_THAT(listed(L"/*"), ElementsAre(L"mother.txt"));
  EXPECT_THAT(listed(L"/m/*.none"), IsEmpty());
  Vector<iFileManager::ListedFile> found;
  EXPECT_TRUE(files()->listFiles(L"/m/b*", found));
  EXPECT_EQ(found[0].bytes, 3u);
  EXPECT_TRUE(failsWith(eOsNotFound, files()->listFiles(L"/none/*", found)));
  EXPECT_TRUE(found.empty());
  EXPECT_TRUE(failsWith(eOsNotAFolder, files()->listFiles(L"/m/a.txt/*", found)));
}

TEST_F(FakeDrivesTest, ARenamedFileReplacesTheOtherOnTheSameDrive) {
  os_->files().setDrive(L"/other/", {});
  os_->files().addFolder(L"/m/folder");
  os_->files().addFile(L"/m/a", patternBytes(10));
  os_->files().addFile(L"/m/b", patternBytes(20));
  Qv::Ptr<iFile> open = files()->openFile(L"/m/a", 3, 0, 0, 0);
  EXPECT_TRUE(files()->renameFile(L"/m/a", L"/m/b"));
  EXPECT_FALSE(os_->files().hasFile(L"/m/a"));
  EXPECT_EQ(os_->files().bytesOf(L"/m/b"), patternBytes(10));
  EXPECT_EQ(open->writeAt(0, "x", 1, nullptr), 1u);
  EXPECT_EQ(os_->files().bytesOf(L"/m/b")[0], 'x') << "who has it open goes with it";
  EXPECT_TRUE(files()->renameFile(L"/m/b", L"/m/b"));
  EXPECT_TRUE(os_->files().hasFile(L"/m/b"));
  EXPECT_TRUE(failsWith(eOsNotFound, files()->renameFile(L"/m/a", L"/m/c")));
  EXPECT_TRUE(failsWith(eOsIsAFolder, files()->renameFile(L"/m/b", L"/m/folder")));
  EXPECT_TRUE(failsWith(eOsIsAFolder, files()->renameFile(L"/m/folder", L"/m/b")));
  EXPECT_TRUE(failsWith(eOsNotSupported, files()->renameFile(L"/m/b", L"mem:b")));
  EXPECT_TRUE(failsWith(eOsErrorBase + 18, files()->renameFile(L"/m/b", L"/other/b")));
  os_->files().setDrive(L"/m/", {.readOnly = true});
  EXPECT_TRUE(failsWith(eOsReadOnly, files()->renameFile(L"/m/b", L"/m/c")));
}

TEST_F(FakeDrivesTest, LinksAreFollowedButForTheNameThatIsRenamedOrRemoved) {
  os_->files().addFile(L"/m/a", patternBytes(10));
  os_->files().addFile(L"/m/new", patternBytes(20));
  os_->files().addLink(L"/l/a", L"/m/a");
  os_->files().addLink(L"/l/m", L"/m/");
  os_->files().addLink(L"/l/all", L"/l/m");
  EXPECT_EQ(target(L"/l/a"), L"/m/a");
  EXPECT_EQ(target(L"/l/all/a"), L"/m/a");
  EXPECT_EQ(target(L"/l/all"), L"/m/");
  EXPECT_EQ(target(L"/l/m/none"), L"/m/none") << "the last component need not exist";
  EXPECT_EQ(os_->files().bytesOf(L"/l/a"), patternBytes(10));
  EXPECT_TRUE(files()->openFile(L"/l/m/made", 3, 1, 0, 0));
  EXPECT_TRUE(os_->files().hasFile(L"/m/made"));
  EXPECT_TRUE(files()->renameFile(L"/l/m/new", L"/l/a"));
  EXPECT_EQ(os_->files().bytesOf(L"/l/a"), patternBytes(20));
  EXPECT_EQ(os_->files().bytesOf(L"/m/a"), patternBytes(10)) << "the link was replaced";
  EXPECT_TRUE(files()->renameFile(L"/l/all", L"/l/moved"));
  EXPECT_EQ(target(L"/l/moved/a"), L"/m/a") << "a link is a name like any other";
  EXPECT_TRUE(files()->deleteFile(L"/l/moved"));
  EXPECT_TRUE(files()->folderExists(L"/m"));
  EXPECT_FALSE(files()->exists(L"/l/moved"));
}

TEST_F(FakeDrivesTest, LinksThatGoRoundAreTooMany) {
  os_->files().addLink(L"/a", L"/b");
  os_->files().addLink(L"/b", L"/a");
  EXPECT_EQ(target(L"/a/c"), L"(none)");
  EXPECT_EQ(lastError(), eOsErrorBase + 40);
  EXPECT_FALSE(files()->openFile(L"/a", 3, 3, 0, 0));
  EXPECT_TRUE(files()->renameFile(L"/a", L"/c")) << "the link itself";
  EXPECT_EQ(target(L"/b/c"), L"/a/c");
  os_->files().addLink(L"/a", L"/b");
  EXPECT_TRUE(files()->deleteFile(L"/a"));
  EXPECT_EQ(target(L"/b/c"), L"/a/c");
}

TEST_F(FakeDrivesTest, AModeIsCopiedButFromNoLinkAndKeptByARename) {
  os_->files().addFile(L"/m/a");
  os_->files().addFile(L"/m/b");
  os_->files().addLink(L"/m/to-a", L"/m/a");
  os_->files().setMode(L"/m/a", 0600);
  EXPECT_TRUE(files()->copyMode(L"/m/to-a", L"/m/b"));
  EXPECT_EQ(os_->files().modeOf(L"/m/b"), 0644u);
  EXPECT_TRUE(files()->copyMode(L"/m/a", L"/m/b"));
  EXPECT_TRUE(files()->renameFile(L"/m/b", L"/m/c"));
  EXPECT_EQ(os_->files().modeOf(L"/m/c"), 0600u);
  EXPECT_TRUE(failsWith(eOsNotFound, files()->copyMode(L"/m/a", L"/m/b")));
  EXPECT_TRUE(failsWith(eOsNotFound, files()->copyMode(L"/m/b", L"/m/a")));
  EXPECT_TRUE(failsWith(eOsIsAFolder, files()->copyMode(L"/m", L"/m/a")));
  EXPECT_EQ(os_->files().modeOf(L"/m/b"), 0u);
}

TEST_F(FakeDrivesTest, WhetherADriveMayFallSilentIsWhetherOneIs) {
  EXPECT_FALSE(files()->mayDriveFallSilent());
  os_->files().setDrive(L"/net/", {.silent = true});
  EXPECT_TRUE(files()->mayDriveFallSilent());
  EXPECT_TRUE(files()->mayFallSilent(L"/net/a"));
  EXPECT_FALSE(files()->mayFallSilent(L"/m/a"));
}

TEST_F(FakeDrivesTest, AFolderIsSyncedAndAFileFlushedWhileItIsOpen) {
  os_->files().addFile(L"/m/a");
  EXPECT_TRUE(files()->syncFolder(L"/m/"));
  EXPECT_TRUE(failsWith(eOsNotFound, files()->syncFolder(L"/none")));
  EXPECT_TRUE(failsWith(eOsNotAFolder, files()->syncFolder(L"/m/a")));
  Qv::Ptr<iFile> file = files()->openFile(L"/m/a", 3, 0, 0, 0);
  EXPECT_EQ(file->flush(), 1u);
  file->close();
  EXPECT_EQ(file->flush(), eOsInvalid);
}

TEST_F(FakeDrivesTest, ANameForOthersIsThatOfTheDriveOrOfTheNearestShare) {
  os_->files().setDrive(L"/net/", {.uncName = L"\\\\server\\share"});
  os_->files().setDrive(L"/net/in/", {.uncName = L"\\\\inner\\s"});
  os_->files().setDrive(L"/net/local/", {});
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\here\\m", L"/m/"});
  shares.add({L"\\\\here\\deep", L"/m/deep/"});
  shares.add({L"\\\\here\\net", L"/net/"});
  os_->files().setShares(shares);
  auto name = [](const wchar_t* path) { return std::wstring(files()->getUNCName(path).view()); };
  EXPECT_EQ(name(L"/net/a/b"), L"\\\\server\\share\\a\\b");
  EXPECT_EQ(name(L"/net/"), L"\\\\server\\share");
  EXPECT_EQ(name(L"/net"), L"\\\\server\\share");
  EXPECT_EQ(name(L"/net/in/a"), L"\\\\inner\\s\\a");
  EXPECT_EQ(name(L"/net/local/a"), L"\\\\server\\share\\local\\a");
  EXPECT_EQ(name(L"/m/a/"), L"\\\\here\\m\\a");
  EXPECT_EQ(name(L"/m/deep/a"), L"\\\\here\\deep\\a");
  EXPECT_EQ(name(L"/m/deeper"), L"\\\\here\\m\\deeper");
  EXPECT_EQ(name(L"/more"), L"");
  os_->faults().fail(FaultPlan::eGetUNCName, eOsIoError);
  EXPECT_EQ(name(L"/net/a"), L"");
}

TEST_F(FakeDrivesTest, WhoAskedForTheSharesIsRemembered) {
  Vector<iFileManager::Share> shares;
  shares.add({L"\\\\here\\m", L"/m/"});
  os_->files().setShares(shares);
  EXPECT_EQ(os_->files().sharesAsked(), 0u);
  Vector<iFileManager::Share> told = files()->getShares(L"here");
  ASSERT_EQ(told.size(), 1u);
  EXPECT_EQ(told[0].uncName, L"\\\\here\\m");
  os_->faults().fail(FaultPlan::eGetShares, eOsIoError);
  EXPECT_TRUE(files()->getShares(L"there").empty());
  EXPECT_EQ(lastError(), eOsIoError);
  EXPECT_EQ(os_->files().sharesAsked(), 2u);
  EXPECT_EQ(os_->files().workstationAsked(), L"there");
}

TEST_F(FakeDrivesTest, EveryCallCanBeMadeToFailAndThenChangesNothing) {
  FaultPlan& faults = os_->faults();
  os_->files().addFile(L"/m/a");
  os_->files().setDrive(L"/m/", {.listed = true});
  for (FaultPlan::eCall call :
       {FaultPlan::eGetDisks, FaultPlan::eOnDrive, FaultPlan::eExists, FaultPlan::eGetFileSize,
        FaultPlan::eFolderExists, FaultPlan::eIsWritable, FaultPlan::eListFiles,
        FaultPlan::eRenameFile, FaultPlan::eSyncFolder, FaultPlan::eFollowLinks,
        FaultPlan::eCopyMode, FaultPlan::eMarkFile, FaultPlan::eFlush})
    faults.fail(call, eOsIoError);
  Vector<iFileManager::ListedFile> found;
  found.add({});
  PathString behind(L"before");
  uint64_t bytes = 0;
  bool ran = false;
  EXPECT_TRUE(failsWith(eOsIoError, !files()->getDisks().empty()));
  EXPECT_TRUE(failsWith(eOsIoError, files()->onDrive(L"/m", errand([&] { ran = true; }), 1)));
  EXPECT_TRUE(failsWith(eOsIoError, files()->exists(L"/m/a")));
  EXPECT_TRUE(failsWith(eOsIoError, files()->getFileSize(L"/m/a", bytes)));
  EXPECT_TRUE(failsWith(eOsIoError, files()->folderExists(L"/m")));
  EXPECT_TRUE(failsWith(eOsIoError, files()->isWritable(L"/m")));
  EXPECT_TRUE(failsWith(eOsIoError, files()->listFiles(L"/m/*", found)));
  EXPECT_TRUE(failsWith(eOsIoError, files()->renameFile(L"/m/a", L"/m/b")));
  EXPECT_TRUE(failsWith(eOsIoError, files()->syncFolder(L"/m")));
  EXPECT_TRUE(failsWith(eOsIoError, files()->followLinks(L"/m/a", behind)));
  EXPECT_TRUE(failsWith(eOsIoError, files()->copyMode(L"/m/a", L"/m/a")));
  EXPECT_TRUE(failsWith(eOsIoError, files()->markFile(L"/m/a")));
  EXPECT_EQ(files()->openFile(L"/m/a", 3, 0, 0, 0)->flush(), eOsIoError);
  EXPECT_FALSE(ran);
  EXPECT_TRUE(found.empty());
  EXPECT_TRUE(behind.empty());
  EXPECT_TRUE(os_->files().hasFile(L"/m/a"));
  EXPECT_FALSE(os_->files().hasFile(L"/m/b"));
}
