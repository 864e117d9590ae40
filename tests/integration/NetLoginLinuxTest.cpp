// The login of a workstation on real folders, as other processes see it.

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <climits>
#include <ctime>
#include <string>

#include "fsys/NetLogin.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/AsNobody.h"
#include "tests/support/ForwardingSystemInfo.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/MountedFolder.h"
#include "tests/support/MountedShare.h"
#include "tests/support/OwnMounts.h"

namespace {

class NetLoginLinuxTest : public LinuxFileFixture {
protected:
  ~NetLoginLinuxTest() override { NetLogout(); }

  std::string lockFile(const std::string& folder = "") const {
    std::string bytes;
    EXPECT_TRUE(toPathBytes(getNetLoginLockFileName(folder_ / folder), bytes));
    return bytes;
  }
  std::string nameOfFile() const { return lockFile().substr(folder_.path().size() + 1); }
  // "live", "leftover" or "gone"; as this machine sees it.
  std::string state(const std::string& folder = "") const {
    Manager::LockState told = Manager::eLockUnknown;
    if (!linuxFileManager()->askLock(getNetLoginLockFileName(folder_ / folder), told))
      return lastError() == eOsNotFound ? "gone" : "not told";
    return told == Manager::eLockHeld ? "live" : "leftover";
  }
  void makeFolder(const std::string& name) const {
    ASSERT_EQ(mkdir(folder_.bytes(name).c_str(), 0700), 0);
  }
  mode_t modeOf(const std::string& path) const {
    struct stat status = {};
    EXPECT_EQ(lstat(path.c_str(), &status), 0);
    return status.st_mode & 07777;
  }
  // Logs in to a drive in memory that was mounted anew with those options, and says how it failed.
  static void expectRefused(unsigned long flags, const char* options, uint32_t error) {
    MountedFolder drive(MountedFolder::eMemory, 1);
    if (drive.path().empty()) GTEST_SKIP() << drive.why();
    ASSERT_EQ(mount("none", drive.path().c_str(), "tmpfs", MS_REMOUNT | flags, options), 0);
    EXPECT_EQ(NetLogin(drive / ""), 0u);
    EXPECT_EQ(lastError(), error);
    EXPECT_FALSE(lockFilehandle);
    EXPECT_FALSE(linuxFileManager()->exists(getNetLoginLockFileName(drive / "")));
  }
  // A workstation of another name.
  class Station final : public ForwardingSystemInfo {
  public:
    explicit Station(const Path& name) : name_(name) {}

  private:
    Path getWorkstationName() const override { return name_; }

    const Path name_;
  };
  // Another program, which runs until its line is closed.
  class Program {
  public:
    Program() {
      std::array<int, 2> in = {-1, -1};
      std::array<int, 2> out = {-1, -1};
      EXPECT_EQ(pipe2(in.data(), O_CLOEXEC), 0);
      EXPECT_EQ(pipe2(out.data(), O_CLOEXEC), 0);
      posix_spawn_file_actions_t actions;
      posix_spawn_file_actions_init(&actions);
      posix_spawn_file_actions_adddup2(&actions, in[0], STDIN_FILENO);
      posix_spawn_file_actions_adddup2(&actions, out[1], STDOUT_FILENO);
      char name[] = "cat";
      char* words[] = {name, nullptr};
      EXPECT_EQ(posix_spawnp(&process_, name, &actions, nullptr, words, environ), 0);
      posix_spawn_file_actions_destroy(&actions);
      // Its descriptors are closed a moment after the system says that it was started.
      char byte = 'x';
      EXPECT_EQ(write(in[1], &byte, 1), 1);
      close(out[1]);
      EXPECT_EQ(read(out[0], &byte, 1), 1) << "it does not run";
      close(in[0]);
      close(out[0]);
      end_ = in[1];
    }
    ~Program() {
      EXPECT_EQ(waitpid(process_, nullptr, WNOHANG), 0) << "it has ended before";
      close(end_);
      waitpid(process_, nullptr, 0);
    }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

  private:
    pid_t process_ = 0;
    int end_ = -1;
  };
  // Another process that is logged in until it is ended.
  class Other {
  public:
    explicit Other(const Path& folder) {
      std::array<int, 2> line = {-1, -1};
      EXPECT_EQ(pipe2(line.data(), O_CLOEXEC), 0);
      process_ = fork();
      if (process_ == 0) {
        char told = NetLogin(folder) == 1 ? 'y' : 'n';
        if (write(line[1], &told, 1) == 1) pause();
        _exit(1);
      }
      char told = 0;
      EXPECT_EQ(read(line[0], &told, 1), 1);
      EXPECT_EQ(told, 'y');
      for (int end : line) close(end);
    }
    ~Other() { end(); }
    Other(const Other&) = delete;
    Other& operator=(const Other&) = delete;

    void end() {
      if (process_ <= 0) return;
      kill(process_, SIGKILL);
      waitpid(process_, nullptr, 0);
      process_ = 0;
    }

  private:
    pid_t process_ = 0;
  };

private:
  OwnMounts own_;
};

TEST_F(NetLoginLinuxTest, ALoginIsLiveUntilTheLogoutDeletesItsFile) {
  EXPECT_EQ(state(), "gone");
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  EXPECT_EQ(state(), "live");
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(state(), "gone");
}

TEST_F(NetLoginLinuxTest, ALoginOfAProcessThatIsKilledIsALeftoverThatTheNextTakesOver) {
  Other other(folder_ / "");
  EXPECT_EQ(state(), "live");
  other.end();
  EXPECT_EQ(state(), "leftover");
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  EXPECT_EQ(state(), "live");
}

TEST_F(NetLoginLinuxTest, AnOldLeftoverIsTakenOverAsTheFileThatItIsAndIsOfNow) {
  folder_.put(nameOfFile(), "");
  const timespec longAgo[2] = {{1, 0}, {1, 0}};
  ASSERT_EQ(utimensat(AT_FDCWD, lockFile().c_str(), longAgo, 0), 0);
  struct stat before = {};
  struct stat now = {};
  ASSERT_EQ(stat(lockFile().c_str(), &before), 0);
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  ASSERT_EQ(stat(lockFile().c_str(), &now), 0);
  EXPECT_EQ(now.st_ino, before.st_ino);
  EXPECT_GT(now.st_mtime, time(nullptr) - 60);
}

TEST_F(NetLoginLinuxTest, AProgramThatWasStartedMeanwhileDoesNotHoldTheLock) {
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  ASSERT_EQ(::link(lockFile().c_str(), folder_.bytes("kept").c_str()), 0);
  Program program;
  Manager::LockState told = Manager::eLockUnknown;
  EXPECT_TRUE(linuxFileManager()->askLock(folder_ / "kept", told));
  EXPECT_EQ(told, Manager::eLockHeld);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_TRUE(linuxFileManager()->askLock(folder_ / "kept", told));
  EXPECT_EQ(told, Manager::eLockFree);
}

TEST_F(NetLoginLinuxTest, ALinkedFolderIsTheOneThatItLeadsTo) {
  makeFolder("one");
  link("one", "to-one");
  EXPECT_EQ(NetLogin(folder_ / "to-one"), 1u);
  EXPECT_EQ(state("one"), "live");
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(state("one"), "gone");
}

TEST_F(NetLoginLinuxTest, AWorkstationsNameIsTakenByteForByteAndWithinTheFileSystemsLimit) {
  const std::string longest(NAME_MAX - 4, 'x');
  for (const std::string& name : {std::string("edit\xFF"), longest}) {
    Station station{fromUTF8(std::string_view(name))};
    EXPECT_EQ(NetLogin(folder_ / ""), 1u) << name;
    EXPECT_TRUE(isThere(name + ".cli")) << name;
    EXPECT_EQ(NetLogout(), 1u);
    EXPECT_FALSE(isThere(name + ".cli")) << name;
  }
  for (const auto& [name, error] :
       {std::pair(fromUTF8(longest + "x"), eOsNameTooLong), {Path(L"\xDCC3\xDCA9"), eOsInvalid}}) {
    Station station(name);
    EXPECT_EQ(NetLogin(folder_ / ""), 0u);
    EXPECT_EQ(lastError(), uint32_t{error});
    EXPECT_FALSE(lockFilehandle);
  }
}

TEST_F(NetLoginLinuxTest, AReadOnlyDriveIsNotLoggedInTo) {
  expectRefused(MS_RDONLY, "size=1m", eOsReadOnly);
}

TEST_F(NetLoginLinuxTest, ADriveWithoutRoomForAFileIsNotLoggedInTo) {
  expectRefused(0, "nr_inodes=1", eOsNoSpace);
}

TEST_F(NetLoginLinuxTest, ASecondLoginElsewhereIsLiveAndTheFirstIsGone) {
  makeFolder("one");
  makeFolder("two");
  int before = countDescriptors();
  EXPECT_EQ(NetLogin(folder_ / "one"), 1u);
  EXPECT_EQ(NetLogin(folder_ / "two"), 1u);
  EXPECT_EQ(state("one"), "gone");
  EXPECT_EQ(state("two"), "live");
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(countDescriptors(), before);
}

TEST_F(NetLoginLinuxTest, EveryUserCanReadTheFileWhateverTheMask) {
  mode_t before = umask(0077);
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  umask(before);
  EXPECT_EQ(modeOf(lockFile()), 0644u);
}

TEST_F(NetLoginLinuxTest, ALinkOfTheFilesNameLeadsToNothingThatIsOpenedMadeOrMarked) {
  folder_.put("diary", "secret");
  ASSERT_EQ(chmod(folder_.bytes("diary").c_str(), 0600), 0);
  for (const char* target : {"diary", "none"}) {
    ASSERT_EQ(symlink(target, lockFile().c_str()), 0);
    EXPECT_EQ(NetLogin(folder_ / ""), 0u);
    EXPECT_EQ(lastError(), eOsErrorBase + ELOOP);
    EXPECT_TRUE(isThere(nameOfFile())) << "the link stays";
    ASSERT_EQ(unlink(lockFile().c_str()), 0);
  }
  EXPECT_FALSE(isThere("none"));
  EXPECT_EQ(modeOf(folder_.bytes("diary")), 0600u);
  EXPECT_EQ(folder_.content("diary"), "secret");
}

TEST_F(NetLoginLinuxTest, AFileUnderTwoNamesIsNotShownToOthers) {
  folder_.put("diary", "secret");
  ASSERT_EQ(chmod(folder_.bytes("diary").c_str(), 0600), 0);
  ASSERT_EQ(::link(folder_.bytes("diary").c_str(), lockFile().c_str()), 0);
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(modeOf(folder_.bytes("diary")), 0600u);
  EXPECT_EQ(folder_.content("diary"), "secret");
  EXPECT_FALSE(isThere(nameOfFile()));
}

TEST_F(NetLoginLinuxTest, AFileThatWasMovedToTheNameIsNotShownToOthers) {
  folder_.put("diary", "secret");
  ASSERT_EQ(chmod(folder_.bytes("diary").c_str(), 0600), 0);
  ASSERT_EQ(rename(folder_.bytes("diary").c_str(), lockFile().c_str()), 0);
  EXPECT_EQ(NetLogin(folder_ / ""), 1u);
  EXPECT_EQ(modeOf(lockFile()), 0600u);
  EXPECT_EQ(folder_.content(nameOfFile()), "secret");
}

TEST_F(NetLoginLinuxTest, AFifoOrAFolderOfTheFilesNameIsRefusedAndNotWaitedFor) {
  ASSERT_EQ(mkfifo(lockFile().c_str(), 0600), 0);
  EXPECT_EQ(NetLogin(folder_ / ""), 0u);
  EXPECT_EQ(lastError(), eOsNotSupported);
  ASSERT_EQ(unlink(lockFile().c_str()), 0);
  makeFolder(nameOfFile());
  EXPECT_EQ(NetLogin(folder_ / ""), 0u);
  EXPECT_EQ(lastError(), eOsIsAFolder);
  EXPECT_TRUE(isThere(nameOfFile()));
}

TEST_F(NetLoginLinuxTest, WhoMayNotWriteThereIsNotLoggedIn) {
  eSeen seen = asNobody(folder_, [&] {
    if (chmod(folder_.path().c_str(), 0500) != 0) return false;
    return NetLogin(folder_ / "") == 0 && lastError() == eOsAccessDenied && !lockFilehandle;
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(NetLoginLinuxTest, WhatAnotherUserLeftThereIsNoLoginWhereItMayNotBeWritten) {
  if (geteuid() != 0) GTEST_SKIP() << "only root can make a file of somebody else";
  Other other(folder_ / "");
  other.end();
  eSeen seen = asNobody(folder_, [&] {
    return NetLogin(folder_ / "") == 0 && lastError() == eOsAccessDenied && state() == "leftover";
  });
  if (seen == eCannotTry) GTEST_SKIP() << kNobodyHere;
  EXPECT_EQ(seen, eRight);
}

TEST_F(NetLoginLinuxTest, OnAShareALoginIsLiveForThisMachineAndEndsWithTheLogout) {
  MountedShare share(folder_.bytes("share"));
  if (!share.whyNot().empty()) GTEST_SKIP() << share.whyNot();
  EXPECT_EQ(NetLogin(folder_ / "share"), 1u);
  EXPECT_EQ(state("share"), "live");
  EXPECT_EQ(modeOf(lockFile("share")) & 0444u, 0444u);
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_EQ(state("share"), "gone");
}

// The first question to the share is late, so that those that follow are refused at once.
TEST_F(NetLoginLinuxTest, AShareThatFallsSilentKeepsNobodyForEver) {
  MountedShare share(folder_.bytes("share"));
  if (!share.whyNot().empty()) GTEST_SKIP() << share.whyNot();
  EXPECT_EQ(NetLogin(folder_ / "share"), 1u);
  share.fallSilent();
  double start_ms = Qv::now();
  EXPECT_EQ(NetLogout(), 1u);
  EXPECT_GE(Qv::now() - start_ms, double{kNetLoginPatience_ms});
  EXPECT_FALSE(lockFilehandle);
  EXPECT_EQ(NetLogin(folder_ / "share"), 0u);
  EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_EQ(NetLogin(folder_ / ""), 1u) << "elsewhere it goes on";
  share.answer();
  while (NetLogin(folder_ / "share") == 0) EXPECT_EQ(lastError(), eOsTimedOut);
  EXPECT_EQ(state("share"), "live") << "the late deletion came first";
  EXPECT_EQ(state(), "gone");
}

}  // namespace
