// What deleting a folder below another leaves alone on a real system, whatever is put in its way.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/NoDescriptors.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/Soak.h"

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
  void link(const std::string& target, std::string_view name) const {
    ASSERT_EQ(symlink(target.c_str(), folder_.bytes(name).c_str()), 0);
  }
  bool isThere(std::string_view name) const {
    struct stat status = {};
    return lstat(folder_.bytes(name).c_str(), &status) == 0;
  }
  bool deleted(std::string_view folder, std::string_view subfolder) const {
    linuxErrors()->setLastError(0);
    return linuxFileManager()->deleteSubfolder(folder_ / folder, folder_ / subfolder);
  }
  void expectRefused(std::string_view folder, std::string_view subfolder, uint32_t error) const {
    EXPECT_FALSE(deleted(folder, subfolder));
    EXPECT_EQ(lastError(), error);
    EXPECT_EQ(folder_.content("m/sub/a"), "alive");
    EXPECT_EQ(folder_.content("m/sub/deep/b"), "alive");
  }
  void expectGone() const {
    EXPECT_TRUE(deleted("m", "m/sub"));
    EXPECT_EQ(lastError(), 0u);
    EXPECT_FALSE(isThere("m/sub"));
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

TEST_F(LinuxSubfolderTest, TheFolderAboveMayBeBehindALink) {
  link("m", "to-m");
  EXPECT_TRUE(deleted("to-m", "to-m/sub"));
  EXPECT_FALSE(isThere("m/sub"));
}

TEST_F(LinuxSubfolderTest, ADriveThatIsMountedInsideStaysAndTheRestGoes) {
  makeFolder("m/sub/deep/drive");
  std::string place = folder_.bytes("m/sub/deep/drive");
  if (mount("none", place.c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  folder_.put("m/sub/deep/drive/kept", "alive");
  EXPECT_FALSE(deleted("m", "m/sub"));
  EXPECT_EQ(lastError(), kOtherDrive);
  EXPECT_EQ(folder_.content("m/sub/deep/drive/kept"), "alive");
  EXPECT_FALSE(isThere("m/sub/a"));
  EXPECT_FALSE(isThere("m/sub/deep/b"));
  EXPECT_FALSE(deleted("m", "m/sub/deep/drive"));
  EXPECT_EQ(lastError(), kOtherDrive);
  EXPECT_EQ(folder_.content("m/sub/deep/drive/kept"), "alive");
  umount2(place.c_str(), MNT_DETACH);
}

TEST_F(LinuxSubfolderTest, AFolderThatIsMountedInsideFromTheSameDriveStays) {
  makeFolder("m/sub/bound");
  std::string place = folder_.bytes("m/sub/bound");
  if (mount(folder_.bytes("canary").c_str(), place.c_str(), nullptr, MS_BIND, nullptr) != 0)
    GTEST_SKIP() << "nothing can be mounted here";
  EXPECT_FALSE(deleted("m", "m/sub"));
  EXPECT_EQ(lastError(), kOtherDrive);
  EXPECT_FALSE(deleted("m", "m/sub/bound/inner")) << "nor is it on the way down";
  EXPECT_EQ(lastError(), kOtherDrive);
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
  EXPECT_TRUE(deleted("also-M", "ALSO-M/sub")) << "here both lead to the same";
}

TEST_F(LinuxSubfolderTest, DotsEmptyNamesAndOtherFoldersAreRefused) {
  makeFolder("m/subtle");
  folder_.put("m/subtle/a", "alive");
  for (const char* name : {"m/..", "m/../canary", "m/sub/..", "m/sub/../../canary", "m/.", "m//sub",
                           "m/sub//", "m", "m/", "", "canary", "canary/inner", "M"})
    expectRefused("m", name, eOsInvalid);
  expectRefused("m/sub", "m/subtle", eOsInvalid);
  expectRefused("", "", eOsInvalid);
  EXPECT_EQ(folder_.content("m/subtle/a"), "alive");
  linuxErrors()->setLastError(0);
  EXPECT_FALSE(linuxFileManager()->deleteSubfolder(L"", L""));
  EXPECT_EQ(lastError(), eOsInvalid);
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
  EXPECT_TRUE(deleted("m", "m/s*"));
  EXPECT_TRUE(isThere("m/sub/a"));
  EXPECT_TRUE(deleted("m", "m/sub/\xFE"));
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
    bool isRefused = isSet && !deleted("n", "n/sub") && lastError() == eOsAccessDenied;
    bool isRestGone = !isThere("n/sub/a") && !isThere("n/sub/z");
    bool areKept = true;
    for (const char* name : {"n/sub/shut", "n/sub/blind", "n/sub/locked"}) {
      chmod(folder_.bytes(name).c_str(), 0700);
      areKept = areKept && isThere(std::string(name) + "/kept");
    }
    return isRefused && isRestGone && areKept && deleted("n", "n/sub");
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
  bool isDeleted = true;
  {
    NoDescriptors none;
    isDeleted = deleted("m", "m/sub");
  }
  EXPECT_FALSE(isDeleted);
  EXPECT_EQ(lastError(), eOsTooManyFiles);
  EXPECT_TRUE(isThere("m/sub/deep/b"));
}

TEST_F(LinuxSubfolderTest, AFileInUseGoesAndWhoHasItOpenKeepsIt) {
  Qv::Ptr<iFile> open = openToRead(folder_ / "m/sub/a", 0);
  ASSERT_TRUE(open);
  expectGone();
  EXPECT_EQ(open->getSize(), 5u);
}

// One thread deletes and rebuilds, the other one puts a link to the canary in the place of a folder
// of the tree, and the folder back.
TEST_F(LinuxSubfolderTest, AFolderThatBecomesALinkMeanwhileLeadsNowhere) {
  const unsigned turns = soakTurns(100'000, 5'000'000);
  constexpr unsigned kRounds = 300;
  constexpr unsigned kExchanges = 1000;
  link("../../canary", "m/lure");
  link("../../../canary", "m/inner-lure");
  std::atomic<unsigned> rounds{0};
  std::atomic<bool> isOver{false};
  unsigned exchanged = 0;
  int base = open(folder_.path().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
  std::thread swapping([&] {
    for (unsigned turn = 0; turn < turns || rounds < kRounds || exchanged < kExchanges; ++turn) {
      bool isInner = turn % 4 >= 2;
      const char* lure = isInner ? "m/inner-lure" : "m/lure";
      const char* place = isInner ? "m/sub/deep/inner" : "m/sub/deep";
      exchanged += renameat2(base, lure, base, place, RENAME_EXCHANGE) == 0;
    }
    isOver = true;
  });
  while (!isOver) {
    linuxFileManager()->deleteSubfolder(folder_ / "m", folder_ / "m/sub");
    for (const char* name : {"m/sub", "m/sub/deep", "m/sub/deep/inner"}) mkdirat(base, name, 0700);
    for (const char* name : {"m/sub/x", "m/sub/deep/y", "m/sub/deep/inner/z"}) {
      int made = openat(base, name, O_CREAT | O_WRONLY | O_CLOEXEC | O_NOFOLLOW, 0600);
      if (made >= 0) close(made);
    }
    ++rounds;
    EXPECT_TRUE(isCanaryWhole()) << "after round " << rounds;
  }
  swapping.join();
  close(base);
}
