// What of names, links and modes only a real system has.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <string>

#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/SystemCallFilter.h"

namespace {

class LinuxNamesTest : public LinuxFileFixture {
protected:
  static Manager* files() { return linuxFileManager(); }
  void makeFolder(std::string_view name) const {
    ASSERT_EQ(mkdir(folder_.bytes(name).c_str(), 0700), 0);
  }
  mode_t modeOf(std::string_view name) const {
    struct stat status = {};
    EXPECT_EQ(lstat(folder_.bytes(name).c_str(), &status), 0);
    return status.st_mode & 07777;
  }
  void setMode(std::string_view name, mode_t mode) const {
    ASSERT_EQ(chmod(folder_.bytes(name).c_str(), mode), 0);
  }
  // What the name below the folder leads to, without the folder when it lies there too.
  std::string behind(std::string_view name) const { return behindPath(folder_ / name); }
  std::string behindPath(const Path& path) const {
    Path target = L"left over";
    std::string bytes;
    if (!files()->followLinks(path, target)) return target.empty() ? "nowhere" : "not emptied";
    EXPECT_TRUE(toPathBytes(target, bytes));
    std::string inside = std::filesystem::canonical(folder_.path()).string() + "/";
    return bytes.starts_with(inside) ? bytes.substr(inside.size()) : bytes;
  }
};

constexpr uint32_t kOtherDrive = eOsErrorBase + EXDEV;
constexpr uint32_t kLoop = eOsErrorBase + ELOOP;

}  // namespace

TEST_F(LinuxNamesTest, AFolderBehindALinkIsAFolder) {
  makeFolder("folder");
  link("folder", "to-folder");
  link("none", "dangling");
  EXPECT_TRUE(files()->folderExists(folder_ / "to-folder"));
  EXPECT_FALSE(files()->folderExists(folder_ / "dangling"));
  EXPECT_EQ(lastError(), eOsNotFound);
}

TEST_F(LinuxNamesTest, NothingIsWritableOnADriveThatIsMountedReadOnly) {
  MountedFolder drive(MountedFolder::eMemory, 1);
  if (drive.path().empty()) GTEST_SKIP() << drive.why();
  std::string file = drive.path() + "/file";
  close(open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0600));
  EXPECT_TRUE(files()->isWritable(drive / ""));
  EXPECT_TRUE(files()->isWritable(drive / "file"));
  ASSERT_EQ(mount("none", drive.path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  EXPECT_FALSE(files()->isWritable(drive / ""));
  EXPECT_EQ(lastError(), eOsReadOnly);
  EXPECT_FALSE(files()->isWritable(drive / "file"));
  EXPECT_EQ(lastError(), eOsReadOnly);
}

TEST_F(LinuxNamesTest, WhatIsNeitherAFolderNorAFileIsNotWritable) {
  ASSERT_EQ(mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(files()->isWritable(folder_ / "fifo"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  linuxErrors()->setLastError(0);
  EXPECT_FALSE(files()->isWritable(L"/dev/null"));
  EXPECT_EQ(lastError(), eOsNotSupported);
}

TEST_F(LinuxNamesTest, AFolderThatMayNotBeEnteredOrChangedIsNotWritable) {
  makeFolder("closed");
  eSeen seen = asNobody(folder_, [&] {
    auto isWritable = [&](mode_t mode) {
      bool isSet = chmod(folder_.path().c_str(), mode) == 0;
      return isSet && files()->isWritable(folder_ / "");
    };
    return isWritable(0700) && isWritable(0300) && !isWritable(0500) && !isWritable(0600) &&
           lastError() == eOsAccessDenied;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxNamesTest, TheRightsOfTheEffectiveUserCount) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can act as somebody else";
  folder_.put("file", "1");
  setMode("file", 0600);
  ASSERT_EQ(chmod(folder_.path().c_str(), 0711), 0);
  pid_t child = fork();
  if (child == 0) {
    bool right = files()->isWritable(folder_ / "file") && seteuid(kNobody) == 0 &&
                 !files()->isWritable(folder_ / "file") && lastError() == eOsAccessDenied;
    _exit(right ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(child, &status, 0), child);
  EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0) << status;
}

TEST_F(LinuxNamesTest, AFileIsNotRenamedOntoAnotherDrive) {
  MountedFolder drive(MountedFolder::eMemory, 1);
  if (drive.path().empty()) GTEST_SKIP() << drive.why();
  folder_.put("file", "content");
  EXPECT_FALSE(files()->renameFile(folder_ / "file", drive / "file"));
  EXPECT_EQ(lastError(), kOtherDrive);
  EXPECT_EQ(folder_.content("file"), "content");
  EXPECT_FALSE(files()->exists(drive / "file"));
}

TEST_F(LinuxNamesTest, ALinkIsRenamedItself) {
  folder_.put("file", "content");
  link("file", "link");
  EXPECT_TRUE(files()->renameFile(folder_ / "link", folder_ / "renamed"));
  EXPECT_EQ(behind("renamed"), "file");
  EXPECT_EQ(folder_.content("file"), "content");
  folder_.put("other", "2");
  EXPECT_TRUE(files()->renameFile(folder_ / "other", folder_ / "renamed"));
  EXPECT_EQ(folder_.content("file"), "content") << "what a link led to is not replaced";
  EXPECT_EQ(behind("renamed"), "renamed");
  makeFolder("folder");
  link("folder", "to-folder");
  link("none", "dangling");
  for (const char* name : {"to-folder", "dangling"})
    EXPECT_TRUE(files()->renameFile(folder_ / name, folder_ / "wherever it leads")) << name;
  EXPECT_EQ(behind("wherever it leads"), "none");
}

TEST_F(LinuxNamesTest, AServedNameIsNotRenamedAndNoFileIsMadeOfIt) {
  folder_.put("file", "content");
  Path served = L"mem:LinuxNamesTest";
  ASSERT_TRUE(files()->openServed(served, Manager::eFlagWrite, true));
  EXPECT_FALSE(files()->renameFile(folder_ / "file", L"mem:other"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_FALSE(files()->renameFile(served, folder_ / "other"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_EQ(folder_.content("file"), "content");
  EXPECT_TRUE(files()->exists(served));
  EXPECT_TRUE(files()->deleteFile(served));
  EXPECT_NE(access("mem:other", F_OK), 0);
}

TEST_F(LinuxNamesTest, AFileSystemThatCannotMakeItsNamesDurableIsNoFailure) {
  EXPECT_TRUE(files()->syncFolder(L"/proc/self"));
}

TEST_F(LinuxNamesTest, AFailureToMakeNamesDurableIsToldSaveWhereThereIsNoSuchThing) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  auto answers = [&](int error, bool succeeds) {
    pid_t child = fork();
    if (child == 0) {
      linuxErrors()->setLastError(0);
      bool isSet = SystemCallFilter::refuse(SYS_fsync, error);
      bool right = isSet && files()->syncFolder(folder_ / "") == succeeds &&
                   lastError() == (succeeds ? 0 : eOsErrorBase + static_cast<uint32_t>(error));
      _exit(right ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
  };
  for (int error : {EINVAL, ENOTSUP, ENOSYS, EROFS}) EXPECT_TRUE(answers(error, true)) << error;
  for (int error : {EIO, ENOSPC}) EXPECT_TRUE(answers(error, false)) << error;
}

TEST_F(LinuxNamesTest, LinksAreFollowedToTheEndAlsoOneAfterTheOther) {
  makeFolder("folder");
  folder_.put("folder/file", "1");
  link("folder", "to-folder");
  link("to-folder/file", "to-file");
  link(folder_.bytes("to-file"), "to-link");
  EXPECT_EQ(behind("to-folder/file"), "folder/file");
  EXPECT_EQ(behind("to-link"), "folder/file");
  EXPECT_EQ(behind("folder//./../to-link"), "folder/file");
  EXPECT_EQ(behind("to-folder/"), "folder");
  EXPECT_EQ(behindPath(L"/"), "/");
}

TEST_F(LinuxNamesTest, OnlyTheLastNameMayBeMissingAlsoBehindALink) {
  makeFolder("folder");
  link("folder", "to-folder");
  link("folder/new", "to-new");
  link("to-new", "to-that");
  link(folder_.bytes("folder/newer"), "to-newer");
  link("gone/new", "lost");
  EXPECT_EQ(behind("new"), "new");
  EXPECT_EQ(behind("to-folder/new"), "folder/new");
  EXPECT_EQ(behind("to-that"), "folder/new");
  EXPECT_EQ(behind("to-newer"), "folder/newer");
  EXPECT_EQ(behind("new/"), "new");
  EXPECT_EQ(behindPath(L"/fsys-not-here"), "/fsys-not-here");
  for (const char* name : {"gone/new", "lost", "lost/x", "new/..", "new/."}) {
    linuxErrors()->setLastError(0);
    EXPECT_EQ(behind(name), "nowhere") << name;
    EXPECT_EQ(lastError(), eOsNotFound) << name;
  }
}

TEST_F(LinuxNamesTest, LinksThatGoInACircleLeadNowhere) {
  link("b", "a");
  link("a", "b");
  EXPECT_EQ(behind("a"), "nowhere");
  EXPECT_EQ(lastError(), kLoop);
  folder_.put("file", "1");
  EXPECT_EQ(behind("file/x"), "nowhere");
  EXPECT_EQ(lastError(), eOsNotAFolder);
}

TEST_F(LinuxNamesTest, ARelativeNameLeadsToAWholeOne) {
  folder_.put("file", "1");
  int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(chdir(folder_.path().c_str()), 0);
  EXPECT_EQ(behindPath(L"file"), "file");
  EXPECT_EQ(behindPath(L"new"), "new");
  EXPECT_EQ(fchdir(before), 0);
  close(before);
}

TEST_F(LinuxNamesTest, TheModeIsCopiedWithoutWhatLendsRights) {
  folder_.put("from", "1");
  folder_.put("to", "2");
  setMode("from", 0640);
  EXPECT_TRUE(files()->copyMode(folder_ / "from", folder_ / "to"));
  EXPECT_EQ(modeOf("to"), 0640u);
  setMode("from", 07755);
  setMode("to", 06600);
  EXPECT_TRUE(files()->copyMode(folder_ / "from", folder_ / "to"));
  EXPECT_EQ(modeOf("to"), 0755u);
  EXPECT_EQ(folder_.content("to"), "2");
}

TEST_F(LinuxNamesTest, ALinkGetsNoModeAndGivesNone) {
  folder_.put("from", "1");
  folder_.put("to", "2");
  setMode("from", 0604);
  setMode("to", 0600);
  link("from", "to-from");
  link("to", "to-to");
  link("none", "to-none");
  EXPECT_FALSE(files()->copyMode(folder_ / "from", folder_ / "to-to"));
  EXPECT_EQ(lastError(), kLoop);
  for (const char* from : {"to-from", "to-none"}) {
    EXPECT_TRUE(files()->copyMode(folder_ / from, folder_ / "to")) << from;
    EXPECT_EQ(modeOf("to"), 0600u) << from;
  }
}

TEST_F(LinuxNamesTest, RootGivesTheOwnerToo) {
  if (geteuid() != 0) GTEST_SKIP() << "only root may give files away";
  folder_.put("from", "1");
  folder_.put("to", "2");
  ASSERT_EQ(chown(folder_.bytes("from").c_str(), 12345, 23456), 0);
  EXPECT_TRUE(files()->copyMode(folder_ / "from", folder_ / "to"));
  struct stat status = {};
  ASSERT_EQ(stat(folder_.bytes("to").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, 12345u);
  EXPECT_EQ(status.st_gid, 23456u);
}

TEST_F(LinuxNamesTest, WhoMayNotGiveAFileAwayKeepsItWithTheMode) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else";
  folder_.put("from", "1");
  setMode("from", 0604);
  eSeen seen = asNobody(folder_, [&] {
    folder_.put("to", "2");
    struct stat status = {};
    return files()->copyMode(folder_ / "from", folder_ / "to") &&
           stat(folder_.bytes("to").c_str(), &status) == 0 && status.st_uid == kNobody &&
           (status.st_mode & 07777) == 0604;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxNamesTest, WhoMayNotGiveAFileAwayGivesAGroupThatHeIsIn) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else";
  folder_.put("from", "1");
  folder_.put("to", "2");
  ASSERT_EQ(chown(folder_.bytes("from").c_str(), 0, kNobody), 0);
  setMode("from", 0640);
  ASSERT_EQ(chown(folder_.bytes("to").c_str(), kNobody, 23456), 0);
  eSeen seen =
      asNobody(folder_, [&] { return files()->copyMode(folder_ / "from", folder_ / "to"); });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
  struct stat status = {};
  ASSERT_EQ(stat(folder_.bytes("to").c_str(), &status), 0);
  EXPECT_EQ(status.st_uid, kNobody);
  EXPECT_EQ(status.st_gid, kNobody);
}

TEST_F(LinuxNamesTest, AFileThatItsOwnerMayNotReadTakesAModeAllTheSame) {
  eSeen seen = asNobody(folder_, [&] {
    folder_.put("from", "1");
    folder_.put("to", "2");
    setMode("from", 0644);
    setMode("to", 0200);
    return files()->copyMode(folder_ / "from", folder_ / "to") && modeOf("to") == 0644u;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxNamesTest, AFileOfSomebodyElseKeepsItsMode) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else";
  folder_.put("theirs", "1");
  setMode("theirs", 0644);
  eSeen seen = asNobody(folder_, [&] {
    folder_.put("from", "2");
    setMode("from", 0666);
    return !files()->copyMode(folder_ / "from", folder_ / "theirs") &&
           lastError() == eOsNotPermitted;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
  EXPECT_EQ(modeOf("theirs"), 0644u);
}
