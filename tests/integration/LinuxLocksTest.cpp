// What of files that are locked or marked only a real system has.

#include <fcntl.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <ctime>
#include <string>

#include "platform/Clocks.h"
#include "platform/linux/SlowClose.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/OwnMounts.h"
#include "tests/support/SystemCallFilter.h"

namespace {

class LinuxLocksTest : public LinuxFileFixture {
protected:
  static Qv::Ptr<iFile> lock(const Path& path, unsigned access = Manager::eAccessReadWrite) {
    return openGeneral(path, access, Manager::eOpenOrCreate, Manager::eAttributeHoldLock);
  }
  Manager::LockState stateOf(std::string_view name) const {
    Manager::LockState state = Manager::eLockUnknown;
    EXPECT_TRUE(linuxFileManager()->askLock(folder_ / name, state));
    return state;
  }
  // A file of long ago, with that mode.
  void putOld(std::string_view name, mode_t mode, std::string_view content = "") const {
    folder_.put(name, content);
    const timespec times[2] = {{1, 0}, {1, 0}};
    ASSERT_EQ(utimensat(AT_FDCWD, folder_.bytes(name).c_str(), times, 0), 0);
    ASSERT_EQ(chmod(folder_.bytes(name).c_str(), mode), 0);
  }
  struct stat statusOf(std::string_view name) const {
    struct stat status = {};
    EXPECT_EQ(lstat(folder_.bytes(name).c_str(), &status), 0);
    return status;
  }
  mode_t modeOf(std::string_view name) const { return statusOf(name).st_mode & 07777; }
  // The clock of files is coarse: it may be behind by a tick.
  bool isOfNow(std::string_view name) const { return time(nullptr) - statusOf(name).st_mtime < 60; }

private:
  OwnMounts own_;
};

TEST_F(LinuxLocksTest, LettingGoOfALockWaitsTwoSecondsForADriveThatDoesNotAnswer) {
  HeldFileSystem share(folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  Qv::Ptr<iFile> file = lock(folder_ / "share/held");
  ASSERT_TRUE(file);
  share.order({HeldFileSystem::eFlush, HeldFileSystem::eHold});
  double start_ms = Qv::now();
  file.reset();
  EXPECT_GE(Qv::now() - start_ms, double{SlowClose::kWait_ms});
  share.waitUntilHeld(1);
}

TEST_F(LinuxLocksTest, ALockThatWasLetGoOfIsFreeAtOnceAlsoOnAShare) {
  HeldFileSystem share(folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  for (int i = 0; i < 200; ++i)
    ASSERT_TRUE(lock(folder_ / "share/held", Manager::eAccessWrite)) << i;
}

TEST_F(LinuxLocksTest, AMarkedFileCanBeReadByEveryUserAndIsOfNow) {
  putOld("file", 02620);
  EXPECT_TRUE(linuxFileManager()->markFile(folder_ / "file"));
  EXPECT_EQ(modeOf("file"), 02664u);
  EXPECT_TRUE(isOfNow("file"));
  EXPECT_EQ(folder_.content("file"), "");
}

TEST_F(LinuxLocksTest, ALinkIsNotMarkedAndNeitherIsWhatItLeadsTo) {
  putOld("file", 0600);
  link("file", "to-file");
  EXPECT_FALSE(linuxFileManager()->markFile(folder_ / "to-file"));
  EXPECT_EQ(lastError(), eOsErrorBase + ELOOP);
  EXPECT_EQ(modeOf("file"), 0600u);
  EXPECT_FALSE(isOfNow("file"));
}

TEST_F(LinuxLocksTest, AFileThatHasAnotherNameIsNotMarked) {
  putOld("secret", 0600);
  ASSERT_EQ(::link(folder_.bytes("secret").c_str(), folder_.bytes("file").c_str()), 0);
  EXPECT_FALSE(linuxFileManager()->markFile(folder_ / "file"));
  EXPECT_EQ(lastError(), eOsNotPermitted);
  EXPECT_EQ(modeOf("secret"), 0600u);
  EXPECT_FALSE(isOfNow("secret"));
}

TEST_F(LinuxLocksTest, AFileThatHoldsAnythingIsNotMarked) {
  putOld("file", 0600, "x");
  EXPECT_FALSE(linuxFileManager()->markFile(folder_ / "file"));
  EXPECT_EQ(lastError(), eOsNotPermitted);
  EXPECT_EQ(modeOf("file"), 0600u);
  EXPECT_FALSE(isOfNow("file"));
}

TEST_F(LinuxLocksTest, AFifoIsNotMarkedAndNotWaitedFor) {
  ASSERT_EQ(mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  EXPECT_FALSE(linuxFileManager()->markFile(folder_ / "fifo"));
  EXPECT_EQ(lastError(), eOsNotSupported);
  EXPECT_EQ(modeOf("fifo"), 0600u);
}

TEST_F(LinuxLocksTest, AnOwnersFileIsMarkedThoughHeMayNotReadIt) {
  eSeen seen = asNobody(folder_, [&] {
    putOld("file", 0200);
    return linuxFileManager()->markFile(folder_ / "file") && modeOf("file") == 0644u &&
           isOfNow("file");
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxLocksTest, OfSomebodyElsesFileWhatIsAllowedIsMarked) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else";
  putOld("open", 0666);
  putOld("hidden", 0622);
  putOld("theirs", 0644);
  eSeen seen = asNobody(folder_, [&] {
    Manager* files = linuxFileManager();
    return files->markFile(folder_ / "open") && !files->markFile(folder_ / "hidden") &&
           lastError() == eOsNotPermitted && !files->markFile(folder_ / "theirs");
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
  EXPECT_TRUE(isOfNow("open"));
  EXPECT_TRUE(isOfNow("hidden"));
  EXPECT_EQ(modeOf("hidden"), 0622u);
  EXPECT_FALSE(isOfNow("theirs"));
}

TEST_F(LinuxLocksTest, NothingIsMarkedOnADriveThatIsMountedReadOnly) {
  MountedFolder drive(MountedFolder::eMemory, 1);
  if (drive.path().empty()) GTEST_SKIP() << drive.why();
  std::string file = drive.path() + "/file";
  close(open(file.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0644));
  ASSERT_EQ(mount("none", drive.path().c_str(), "tmpfs", MS_REMOUNT | MS_RDONLY, "size=1m"), 0);
  EXPECT_FALSE(linuxFileManager()->markFile(drive / "file"));
  EXPECT_EQ(lastError(), eOsReadOnly);
}

TEST_F(LinuxLocksTest, TheLockOfAnotherProcessIsHeldUntilItEndsHoweverThatIs) {
  folder_.put("file", "content");
  EXPECT_EQ(stateOf("file"), Manager::eLockFree);
  std::array<int, 2> line = {-1, -1};
  ASSERT_EQ(pipe2(line.data(), O_CLOEXEC), 0);
  pid_t other = fork();
  if (other == 0) {
    Qv::Ptr<iFile> file = lock(folder_ / "file");
    char byte = file ? 'l' : 'n';
    if (write(line[1], &byte, 1) == 1) pause();
    _exit(1);
  }
  char byte = 0;
  ASSERT_EQ(read(line[0], &byte, 1), 1);
  EXPECT_EQ(byte, 'l');
  EXPECT_EQ(stateOf("file"), Manager::eLockHeld);
  kill(other, SIGKILL);
  ASSERT_EQ(waitpid(other, nullptr, 0), other);
  EXPECT_EQ(stateOf("file"), Manager::eLockFree);
  for (int end : line) close(end);
}

TEST_F(LinuxLocksTest, LocksThatOtherProgramsTakeInTheirWayAreHeldToo) {
  folder_.put("file", "content");
  pid_t other = fork();
  struct flock area = {};
  area.l_type = F_RDLCK;
  area.l_start = 1000;
  area.l_len = 1;
  if (other == 0) {
    int own = open(folder_.bytes("file").c_str(), O_RDWR | O_CLOEXEC);
    _exit(fcntl(own, F_SETLK, &area) == 0 && stateOf("file") == Manager::eLockHeld ? 0 : 1);
  }
  int status = -1;
  ASSERT_EQ(waitpid(other, &status, 0), other);
  EXPECT_EQ(status, 0) << "also one of a part, and one of the process that asks";
  EXPECT_EQ(stateOf("file"), Manager::eLockFree);
}

TEST_F(LinuxLocksTest, WhoMayOnlyReadAFileMayAskAboutItsLock) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else";
  folder_.put("file", "content");
  folder_.put("secret", "content");
  ASSERT_EQ(chmod(folder_.bytes("file").c_str(), 0444), 0);
  ASSERT_EQ(chmod(folder_.bytes("secret").c_str(), 0600), 0);
  Qv::Ptr<iFile> held = lock(folder_ / "file");
  eSeen seen = asNobody(folder_, [&] {
    Manager::LockState state = Manager::eLockHeld;
    return stateOf("file") == Manager::eLockHeld &&
           !linuxFileManager()->askLock(folder_ / "secret", state) &&
           lastError() == eOsAccessDenied && state == Manager::eLockUnknown;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(LinuxLocksTest, WhatIsNoRegularFileHasNoLockAndIsNotWaitedFor) {
  folder_.put("file", "content");
  link("file", "to-file");
  ASSERT_EQ(mkfifo(folder_.bytes("fifo").c_str(), 0600), 0);
  Qv::Ptr<iFile> held = lock(folder_ / "file");
  Manager::LockState state = Manager::eLockHeld;
  EXPECT_FALSE(linuxFileManager()->askLock(folder_ / "to-file", state));
  EXPECT_EQ(lastError(), eOsErrorBase + ELOOP);
  EXPECT_EQ(state, Manager::eLockUnknown);
  EXPECT_FALSE(linuxFileManager()->askLock(folder_ / "fifo", state));
  EXPECT_EQ(lastError(), eOsNotSupported);
}

TEST_F(LinuxLocksTest, OnAShareOfAProgramsOnlyTheLocksOfThisMachineAreKnown) {
  HeldFileSystem share(folder_.bytes("share"), HeldFileSystem::eNothing, "fuse.sshfs");
  if (!share.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  EXPECT_EQ(stateOf("share/held"), Manager::eLockFreeHere);
  Qv::Ptr<iFile> held = lock(folder_ / "share/held");
  EXPECT_EQ(stateOf("share/held"), Manager::eLockHeld);
}

TEST_F(LinuxLocksTest, AFileSystemWithoutLocksIsUnknownAndAFailureIsOne) {
  if (!SystemCallFilter::isAllowed()) GTEST_SKIP() << "system calls cannot be filtered here";
  folder_.put("file", "content");
  auto answers = [&](int error, bool isTold) {
    pid_t child = fork();
    if (child == 0) {
      Manager::LockState state = Manager::eLockHeld;
      linuxErrors()->setLastError(0);
      bool isSet = SystemCallFilter::refuseSecond(SYS_fcntl, error, F_OFD_GETLK);
      bool right = isSet && linuxFileManager()->askLock(folder_ / "file", state) == isTold &&
                   state == Manager::eLockUnknown &&
                   lastError() == (isTold ? 0 : eOsErrorBase + static_cast<uint32_t>(error));
      _exit(right ? 0 : 1);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child && status == 0;
  };
  for (int error : {ENOLCK, ENOSYS, ENOTSUP, EINVAL}) EXPECT_TRUE(answers(error, true)) << error;
  for (int error : {EIO, ESTALE}) EXPECT_TRUE(answers(error, false)) << error;
}

}  // namespace
