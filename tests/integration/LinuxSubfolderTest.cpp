// What deleting media with a folder below its own leaves alone on a real system, whatever is put in
// its way.

#include <dirent.h>
#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <string>
#include <thread>
#include <utility>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/FailingHeap.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/MountedShare.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/SystemCallFilter.h"

namespace {

constexpr uint32_t kOtherDrive = eOsErrorBase + EXDEV;

// A folder m with a tree sub, and beside it a canary that nothing may touch.
class LinuxSubfolderTest : public LinuxFileFixture {
protected:
  LinuxSubfolderTest() {
    for (const char* name : {"canary", "canary/inner", "m", "m/sub", "m/sub/deep"})
      makeFolder(name);
    for (const char* name :
         {"canary/song", "canary/inner/song", "m/beside", "m/sub/a", "m/sub/deep/b"})
      folder_.put(name, "alive");
  }
  ~LinuxSubfolderTest() override { EXPECT_TRUE(isCanaryWhole()); }

  bool isCanaryWhole() const {
    return folder_.content("canary/song") == "alive" &&
           folder_.content("canary/inner/song") == "alive" &&
           folder_.content("m/beside") == "alive";
  }
  void makeFolder(std::string_view name) const {
    ASSERT_EQ(mkdir(folder_.bytes(name).c_str(), 0700), 0) << name;
  }
  // The file a.mov of that folder, and the subfolder that goes with it.
  MediaRemoval order(const std::string& folder, std::string_view subfolder) const {
    return {folder_ / (folder + "/a.mov"), {}, folder_ / subfolder, "link"};
  }
  // What the file takes along when it is deleted. 1, or why that stayed.
  uint32_t taken(const std::string& folder, std::string_view subfolder) const {
    MediaLeft left{0, 0};
    folder_.put(folder + "/a.mov", "link to it");
    linuxErrors()->setLastError(0);
    EXPECT_TRUE(linuxFileManager()->deleteMedia(order(folder, subfolder), left));
    EXPECT_EQ(lastError(), 0u);
    EXPECT_FALSE(isThere(folder + "/a.mov"));
    return left.subfolder;
  }
  void expectRefused(const std::string& folder, std::string_view subfolder, uint32_t error) const {
    EXPECT_EQ(taken(folder, subfolder), error) << subfolder;
    EXPECT_EQ(folder_.content("m/sub/a"), "alive");
    EXPECT_EQ(folder_.content("m/sub/deep/b"), "alive");
  }
  void expectGone() const {
    EXPECT_EQ(taken("m", "m/sub"), 1u);
    EXPECT_FALSE(isThere("m/sub"));
  }
  // Three folders in one; the name of that which is told last, and entered first.
  std::string makeThreeFolders(const std::string& above) const {
    for (const char* name : {"/f0", "/f1", "/f2"}) makeFolder(above + name);
    std::string last;
    DIR* folder = opendir(folder_.bytes(above).c_str());
    while (dirent* entry = readdir(folder))
      if (entry->d_name[0] == 'f') last = entry->d_name;
    closedir(folder);
    return above + "/" + last;
  }
  // Deletes m/sub; does something when it waits for the drive that is mounted on one of three
  // folders in `above`. False where nothing can be mounted.
  template <typename Change>
  bool deletedWhile(const std::string& above, Change change) const {
    std::string place = makeThreeFolders(above);
    HeldFileSystem server(folder_.bytes("server"), HeldFileSystem::eEverything);
    if (!server.isMounted() || mount(folder_.bytes("server").c_str(), folder_.bytes(place).c_str(),
                                     nullptr, MS_BIND, nullptr) != 0)
      return false;
    std::thread deleting([&] { EXPECT_NE(taken("m", "m/sub"), 1u); });
    server.waitUntilHeld(1);
    change(place);
    server.letGo();
    deleting.join();
    return true;
  }

private:
  OwnMounts own_;
};

}  // namespace

TEST_F(LinuxSubfolderTest, ALinkAsTheSubfolderLeadsNowhere) {
  link("../canary", "m/link");
  link(folder_.bytes("canary"), "m/whole-link");
  link("..", "m/up");
  link(".", "m/self");
  for (const char* name : {"m/link", "m/whole-link", "m/up", "m/self", "m/link/"}) {
    expectRefused("m", name, eOsNotAFolder);
    EXPECT_TRUE(isThere(name)) << name;
  }
}

TEST_F(LinuxSubfolderTest, ALinkOnTheWayDownLeadsNowhere) {
  link("../canary", "m/link");
  link("..", "m/up");
  expectRefused("m", "m/link/inner", eOsNotAFolder);
  expectRefused("m", "m/up/canary", eOsNotAFolder);
  expectRefused("m", "m/up/canary/inner", eOsNotAFolder);
}

TEST_F(LinuxSubfolderTest, LinksInsideGoThemselvesAndWhatTheyLeadToStays) {
  link("../../canary", "m/sub/to-folder");
  link("../../../canary/inner", "m/sub/deep/nested");
  link("../../canary/song", "m/sub/to-file");
  link("..", "m/sub/up");
  link("../..", "m/sub/deep/further-up");
  link("/", "m/sub/root");
  link("none", "m/sub/dangling");
  link("loop", "m/sub/loop");
  expectGone();
}

TEST_F(LinuxSubfolderTest, AFileThatHasAnotherNameOutsideKeepsItsContentThere) {
  ASSERT_EQ(::link(folder_.bytes("canary/song").c_str(), folder_.bytes("m/sub/hard").c_str()), 0);
  expectGone();
}

TEST_F(LinuxSubfolderTest, ASymbolicLinkGoesWithWhatLiesBesideItAndItsSubfolderStays) {
  folder_.put("a.mov", "link to it");
  folder_.put("m/a.mov.1", "beside");
  link("../a.mov", "m/a.mov");
  MediaRemoval media = order("m", "m/sub");
  media.sideFiles = L"a.mov.*";
  MediaLeft left;
  EXPECT_TRUE(linuxFileManager()->deleteMedia(media, left));
  EXPECT_EQ(left.subfolder, eOsInvalid);
  EXPECT_EQ(left.sideFiles, 1u);
  EXPECT_FALSE(isThere("m/a.mov") || isThere("m/a.mov.1"));
  EXPECT_EQ(folder_.content("a.mov"), "link to it");
  EXPECT_EQ(folder_.content("m/sub/deep/b"), "alive");
}

TEST_F(LinuxSubfolderTest, WhatIsNoRegularFileIsNotReadAndNothingGoes) {
  MediaRemoval media = order("m", "m/sub");
  media.start.clear();
  for (const mode_t kind : {S_IFIFO, S_IFSOCK}) {
    ASSERT_EQ(mknod(folder_.bytes("m/a.mov").c_str(), kind | 0600, 0), 0);
    MediaLeft left;
    linuxErrors()->setLastError(0);
    EXPECT_FALSE(linuxFileManager()->deleteMedia(media, left));
    EXPECT_EQ(lastError(), eOsInvalid);
    EXPECT_EQ(folder_.content("m/sub/deep/b"), "alive");
    EXPECT_EQ(unlink(folder_.bytes("m/a.mov").c_str()), 0);
  }
}

TEST_F(LinuxSubfolderTest, ALinkThatIsReadInPiecesTakesItsSubfolderAlong) {
  MountedShare share(folder_.bytes("share"));
  if (!share.whyNot().empty()) GTEST_SKIP() << share.whyNot();
  makeFolder("share/sub");
  folder_.put("share/sub/a", "alive");
  share.answerInPieces();
  EXPECT_EQ(taken("share", "share/sub"), 1u);
  EXPECT_FALSE(isThere("share/sub"));
}

TEST_F(LinuxSubfolderTest, APathThatEndsInASeparatorNamesAFolder) {
  MediaLeft left;
  for (const auto& [name, error] : {std::pair("m/sub/", eOsIsAFolder),
                                    {"m/sub//", eOsIsAFolder},
                                    {"m/beside/", eOsNotAFolder}}) {
    EXPECT_FALSE(linuxFileManager()->deleteMedia({folder_ / name, {}, {}, {}}, left));
    EXPECT_EQ(lastError(), error) << name;
  }
  EXPECT_FALSE(linuxFileManager()->deleteMedia({L"/", {}, {}, {}}, left));
  EXPECT_EQ(lastError(), eOsIsAFolder);
  EXPECT_TRUE(isThere("m/sub/deep/b"));
}

TEST_F(LinuxSubfolderTest, TheFolderAboveMayBeBehindALink) {
  link("m", "to-m");
  EXPECT_EQ(taken("to-m", "to-m/sub"), 1u);
  EXPECT_FALSE(isThere("m/sub"));
}

TEST_F(LinuxSubfolderTest, ADriveThatIsMountedInsideStaysAndTheRestGoes) {
  makeFolder("m/sub/deep/drive");
  std::string place = folder_.bytes("m/sub/deep/drive");
  if (mount("none", place.c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  folder_.put("m/sub/deep/drive/kept", "alive");
  EXPECT_EQ(taken("m", "m/sub"), kOtherDrive);
  EXPECT_EQ(folder_.content("m/sub/deep/drive/kept"), "alive");
  EXPECT_FALSE(isThere("m/sub/a"));
  EXPECT_FALSE(isThere("m/sub/deep/b"));
  EXPECT_EQ(taken("m", "m/sub/deep/drive"), kOtherDrive);
  EXPECT_EQ(folder_.content("m/sub/deep/drive/kept"), "alive");
  umount2(place.c_str(), MNT_DETACH);
}

TEST_F(LinuxSubfolderTest, AFolderThatIsMountedInsideFromTheSameDriveStays) {
  makeFolder("m/sub/bound");
  std::string place = folder_.bytes("m/sub/bound");
  if (mount(folder_.bytes("canary").c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  EXPECT_EQ(taken("m", "m/sub"), kOtherDrive);
  EXPECT_EQ(taken("m", "m/sub/bound/inner"), kOtherDrive) << "nor is it on the way down";
  umount2(place.c_str(), MNT_DETACH);
}

TEST_F(LinuxSubfolderTest, AFolderWithTheNameInAnotherCaseIsAnother) {
  makeFolder("M");
  expectRefused("m", "M/sub", eOsNotFound);
  makeFolder("M/sub");
  folder_.put("M/sub/a", "alive");
  expectRefused("m", "M/sub", eOsInvalid);
  EXPECT_EQ(folder_.content("M/sub/a"), "alive");
  link("m", "also-M");
  link("also-M", "ALSO-M");
  EXPECT_EQ(taken("also-M", "ALSO-M/sub"), 1u) << "here both lead to the same";
}

TEST_F(LinuxSubfolderTest, DotsEmptyNamesAndOtherFoldersAreRefused) {
  makeFolder("m/subtle");
  folder_.put("m/subtle/a", "alive");
  for (const char* name : {"m/..", "m/../canary", "m/sub/..", "m/sub/../../canary", "m/.", "m//sub",
                           "m/sub//", "m", "m/", "", "canary", "canary/inner", "M"})
    expectRefused("m", name, eOsInvalid);
  expectRefused("m/sub", "m/subtle", eOsInvalid);
  EXPECT_EQ(folder_.content("m/subtle/a"), "alive");
}

TEST_F(LinuxSubfolderTest, FifosAndSocketsGoAndAreNotWaitedFor) {
  ASSERT_EQ(mkfifo(folder_.bytes("m/sub/fifo").c_str(), 0600), 0);
  ASSERT_EQ(mknod(folder_.bytes("m/sub/socket").c_str(), S_IFSOCK | 0600, 0), 0);
  expectGone();
}

TEST_F(LinuxSubfolderTest, NamesOfAnyBytesGoAndNoneIsAPattern) {
  folder_.put("m/*", "alive");
  for (const char* name : {"m/sub/\xFF\xC3", "m/sub/a\nb", "m/sub/*", "m/sub/?", "m/sub/-rf"})
    folder_.put(name, "x");
  makeFolder("m/sub/\xFE");
  folder_.put("m/sub/\xFE/x", "x");
  makeFolder("m/s*");
  folder_.put("m/s*/x", "x");
  EXPECT_EQ(taken("m", "m/s*"), 1u);
  EXPECT_TRUE(isThere("m/sub/a"));
  EXPECT_EQ(taken("m", "m/sub/\xFE"), 1u);
  EXPECT_TRUE(isThere("m/sub/\xFF\xC3"));
  expectGone();
  EXPECT_EQ(folder_.content("m/*"), "alive");
}

TEST_F(LinuxSubfolderTest, WhatMayNotBeRemovedStaysAndTheRestGoes) {
  eSeen seen = asNobody(folder_, [&] {
    for (const char* name : {"n", "n/sub", "n/sub/shut", "n/sub/blind", "n/sub/locked", "n/sub/z"})
      if (mkdir(folder_.bytes(name).c_str(), 0700) != 0) return false;
    for (const char* name :
         {"n/sub/a", "n/sub/shut/kept", "n/sub/blind/kept", "n/sub/locked/kept", "n/sub/z/b"})
      folder_.put(name, "x");
    bool isSet = chmod(folder_.bytes("n/sub/shut").c_str(), 0000) == 0 &&
                 chmod(folder_.bytes("n/sub/blind").c_str(), 0600) == 0 &&
                 chmod(folder_.bytes("n/sub/locked").c_str(), 0500) == 0;
    bool isRefused = isSet && taken("n", "n/sub") == eOsAccessDenied;
    bool isRestGone = !isThere("n/sub/a") && !isThere("n/sub/z");
    bool areKept = true;
    for (const char* name : {"n/sub/shut", "n/sub/blind", "n/sub/locked"}) {
      chmod(folder_.bytes(name).c_str(), 0700);
      areKept = areKept && isThere(std::string(name) + "/kept");
    }
    return isRefused && isRestGone && areKept && taken("n", "n/sub") == 1;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxSubfolderTest, AVeryDeepTreeTakesFewDescriptorsAndGoes) {
  constexpr unsigned kDepth = 2000;
  int at = open(folder_.bytes("m/sub").c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  for (unsigned i = 0; i < kDepth; ++i) {
    ASSERT_EQ(mkdirat(at, "deeper", 0700), 0);
    int next = openat(at, "deeper", O_PATH | O_DIRECTORY | O_CLOEXEC);
    close(at);
    at = next;
  }
  close(at);
  rlimit before = {};
  getrlimit(RLIMIT_NOFILE, &before);
  int inUse = countDescriptors();
  rlimit few = {static_cast<rlim_t>(inUse) + 8, before.rlim_max};
  setrlimit(RLIMIT_NOFILE, &few);
  expectGone();
  setrlimit(RLIMIT_NOFILE, &before);
  EXPECT_EQ(countDescriptors(), inUse);
}

TEST_F(LinuxSubfolderTest, WithoutADescriptorNothingIsDeleted) {
  // What looks at calls takes a descriptor for the first of a kind.
  EXPECT_EQ(taken("m", "m/none"), eOsNotFound);
  folder_.put("m/a.mov", "link to it");
  const MediaRemoval media = order("m", "m/sub");
  MediaLeft left;
  bool isDeleted = true;
  {
    NoDescriptors none;
    isDeleted = linuxFileManager()->deleteMedia(media, left);
  }
  EXPECT_FALSE(isDeleted);
  EXPECT_EQ(lastError(), eOsTooManyFiles);
  EXPECT_TRUE(isThere("m/sub/deep/b"));
  EXPECT_TRUE(isThere("m/a.mov"));
}

TEST_F(LinuxSubfolderTest, AFileInUseGoesAndWhoHasItOpenKeepsIt) {
  Qv::Ptr<iFile> open = openToRead(folder_ / "m/sub/a", 0);
  ASSERT_TRUE(open);
  expectGone();
  EXPECT_EQ(open->getSize(), 5u);
}

TEST_F(LinuxSubfolderTest, AFolderThatHasBecomeALinkWhenItIsToBeEnteredGoesAsALink) {
  std::string lured;
  bool isTried = deletedWhile("m/sub", [&](const std::string& place) {
    lured = place == "m/sub/f1" ? "m/sub/f2" : "m/sub/f1";
    ASSERT_EQ(rmdir(folder_.bytes(lured).c_str()), 0);
    link("../../canary", lured);
  });
  if (!isTried) GTEST_SKIP() << "nothing can be mounted here";
  EXPECT_FALSE(isThere(lured));
  EXPECT_FALSE(isThere("m/sub/deep"));
}

TEST_F(LinuxSubfolderTest, AFolderThatIsMovedAwayWhileItIsEmptiedLeadsNowhereElse) {
  makeFolder("away");
  folder_.put("away/beside", "alive");
  makeFolder("away/f1");
  makeFolder("sub");  // beside the folder above: where two steps up from the new place lead
  bool isTried = deletedWhile("m/sub/deep", [&](const std::string&) {
    ASSERT_EQ(rename(folder_.bytes("m/sub/deep").c_str(), folder_.bytes("away/deep").c_str()), 0);
    makeFolder("m/sub/deep");
    folder_.put("m/sub/deep/new", "alive");
  });
  if (!isTried) GTEST_SKIP() << "nothing can be mounted here";
  EXPECT_EQ(folder_.content("m/sub/deep/new"), "alive");
  EXPECT_EQ(folder_.content("away/beside"), "alive");
  EXPECT_TRUE(isThere("away/f1"));
  EXPECT_TRUE(isThere("sub"));
  EXPECT_TRUE(isThere("away/deep"));
  for (const char* name : {"away/deep/f0", "away/deep/f1", "away/deep/f2"})
    umount2(folder_.bytes(name).c_str(), MNT_DETACH);
}

TEST_F(LinuxSubfolderTest, AWayBackThatIsLostIsNoSuccess) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  pid_t child = fork();
  if (child == 0) {
    // The folder above is opened first, then once more for the way down, and after it the one that
    // is to go.
    int numbers[] = {fcntl(0, F_DUPFD_CLOEXEC, 0), fcntl(0, F_DUPFD_CLOEXEC, 0),
                     fcntl(0, F_DUPFD_CLOEXEC, 0)};
    for (int number : numbers) close(number);
    auto last = static_cast<uint32_t>(numbers[2]);
    _exit(SystemCallFilter::refuse(SYS_openat, ENOENT, last, last) &&
                  taken("m", "m/sub") == eOsErrorBase + ESTALE
              ? eRight
              : eWrong);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_EQ(status, W_EXITCODE(eRight, 0));
  EXPECT_TRUE(isThere("m/sub"));
}

TEST_F(LinuxSubfolderTest, WhereverMemoryIsRefusedWhatStaysIsToldAndNothingElseIsDeleted) {
  FailingHeap heap;
  if (!heap.isAsked()) GTEST_SKIP() << "a sanitizer's own heap is in use";
  MediaRemoval media = order("m", "m/sub");
  media.sideFiles = L"a.mov.*";
  unsigned refusals = 0;
  for (int nth = 0;; ++nth) {
    folder_.put("m/a.mov", "link to it");
    folder_.put("m/a.mov.1", "beside");
    std::filesystem::create_directories(folder_.bytes("m/sub"));
    MediaLeft left;
    linuxErrors()->setLastError(0);
    heap.refuse(nth, true);
    bool isDeleted = linuxFileManager()->deleteMedia(media, left);
    if (!heap.letBe()) break;
    ++refusals;
    // One part stays: all of it, the subfolder, or what lies beside the file.
    EXPECT_EQ(isThere("m/a.mov"), !isDeleted) << nth;
    EXPECT_EQ(isThere("m/sub"), !isDeleted || left.subfolder != 1) << nth;
    EXPECT_EQ(isThere("m/a.mov.1"), !isDeleted || left.sideFiles != 1) << nth;
    unsigned told = 0;
    for (uint32_t error : {lastError(), left.subfolder, left.sideFiles})
      told += error == eOsNoMemory;
    EXPECT_EQ(told, 1u) << nth;
  }
  EXPECT_GT(refusals, 2u);
  for (const char* gone : {"m/sub", "m/a.mov", "m/a.mov.1"}) EXPECT_FALSE(isThere(gone)) << gone;
}
