// What of files that are locked or marked only a real system has.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

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

namespace {

class LinuxLocksTest : public LinuxFileFixture {
protected:
  static Qv::Ptr<iFile> lock(const Path& path, unsigned access = Manager::eAccessReadWrite) {
    return openGeneral(path, access, Manager::eOpenOrCreate, Manager::eAttributeHoldLock);
  }
  // Of a file of long ago, with that mode.
  void putOld(std::string_view name, mode_t mode) const {
    folder_.put(name, "content");
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
  EXPECT_EQ(folder_.content("file"), "content");
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

}  // namespace
