// The folders that this machine serves, and the names of paths for the network.

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <string>

#include "platform/linux/LinuxShares.h"
#include "platform/linux/LinuxSystemInfo.h"
#include "tests/integration/LinuxFileFixture.h"
#include "tests/support/CapturedDiagnostics.h"
#include "tests/support/HeldFileSystem.h"

namespace {

// A configuration "smb.conf" and a folder "users" for the shares of users, both of the test's own.
class LinuxSharesTest : public LinuxFileFixture {
protected:
  LinuxSharesTest() { makeFolder("users"); }

  static Manager* files() { return linuxFileManager(); }
  static std::string workstation() {
    return toUTF8(linuxSystemInfo()->getWorkstationName()).c_str();
  }
  void makeFolder(std::string_view name) const {
    ASSERT_EQ(mkdir(folder_.bytes(name).c_str(), 0700), 0);
  }
  // "name=folder" of each share, with a space between.
  static std::string shares() {
    std::string text;
    for (const Manager::Share& share : files()->getShares(L"Edit-1")) {
      text += text.empty() ? "" : " ";
      text += std::string(toUTF8(share.uncName).c_str()) + "=" + toUTF8(share.localPath).c_str();
    }
    return text;
  }
  std::string uncName(std::string_view path) const {
    return toUTF8(files()->getUNCName(fromUTF8(path))).c_str();
  }
  // Of a path below the folder, with "ME" for this machine.
  std::string uncNameIn(std::string_view name) const {
    std::string unc = uncName(folder_.bytes(name));
    std::string own = "\\\\" + workstation() + "\\";
    return unc.starts_with(own) ? "\\\\ME\\" + unc.substr(own.size()) : unc;
  }
  void serve(const std::string& share, const std::string& name) {
    config_ += "[" + share + "]\npath = " + folder_.bytes(name) + "\n";
    folder_.put("smb.conf", config_);
  }

  ScopedEnvironment configuration_{"FSYS_SAMBA_CONFIG", folder_.bytes("smb.conf").c_str()};
  ScopedEnvironment users_{"FSYS_SHARES", folder_.bytes("users").c_str()};
  std::string config_;
};

constexpr char kNoMount[] = "no file system can be mounted here";

}  // namespace

TEST_F(LinuxSharesTest, SharesOfTheConfigurationAndOfUsersComeSortedByNameWithoutItsCase) {
  folder_.put("smb.conf", "[beta]\npath = /srv/b\n[Alpha]\npath=/srv/a//\n[\xC3\x84]\npath=/\n");
  folder_.put("users/delta", "#VERSION 2\npath=/srv/d\nsharename=Delta\n");
  folder_.put("users/carol", "#VERSION 2\npath=/srv/c/\n");
  folder_.put(
      "users/\xC3\xA4"
      "b",
      "#VERSION 2\npath=/srv/e\n");
  EXPECT_EQ(shares(),
            "\\\\Edit-1\\Alpha=/srv/a/ \\\\Edit-1\\beta=/srv/b/ \\\\Edit-1\\carol=/srv/c/ "
            "\\\\Edit-1\\Delta=/srv/d/ \\\\Edit-1\\\xC3\x84=/ \\\\Edit-1\\\xC3\xA4"
            "b=/srv/e/");
}

TEST_F(LinuxSharesTest, AMachineWithoutANameHasNoShares) {
  folder_.put("smb.conf", "[a]\npath=/a\n");
  EXPECT_TRUE(files()->getShares(L"").empty());
  EXPECT_TRUE(files()->getShares(L"not/one").empty());
}

TEST_F(LinuxSharesTest, AShareOfTheConfigurationComesBeforeAUsersOfThatName) {
  folder_.put("smb.conf", "[Media]\npath = /srv/configured\n");
  folder_.put("users/media", "#VERSION 2\npath=/srv/users\nsharename=MEDIA\n");
  EXPECT_EQ(shares(), "\\\\Edit-1\\Media=/srv/configured/");
}

TEST_F(LinuxSharesTest, UndecodableNamesKeepTheirBytes) {
  folder_.put("users/m\xFF", "#VERSION 2\npath=/srv/\xFE\n");
  Vector<Manager::Share> found = files()->getShares(L"Edit-1");
  ASSERT_EQ(found.size(), 1u);
  EXPECT_TRUE(found[0].uncName == L"\\\\Edit-1\\m\xDCFF");
  EXPECT_TRUE(found[0].localPath == L"/srv/\xDCFE/");
}

TEST_F(LinuxSharesTest, TheConfigurationNamesTheUsersFolderUnlessTheEnvironmentDoes) {
  makeFolder("others");
  folder_.put("users/mine", "#VERSION 2\npath=/srv/mine\n");
  folder_.put("others/theirs", "#VERSION 2\npath=/srv/theirs\n");
  folder_.put("smb.conf", "[global]\nusershare path = " + folder_.bytes("others") + "\n");
  EXPECT_EQ(shares(), "\\\\Edit-1\\mine=/srv/mine/");
  ScopedEnvironment none("FSYS_SHARES", nullptr);
  EXPECT_EQ(shares(), "\\\\Edit-1\\theirs=/srv/theirs/");
  folder_.put("smb.conf", "[global]\nusershare max shares = 0\nusershare path = " +
                              folder_.bytes("others") + "\n");
  EXPECT_EQ(shares(), "");
}

TEST_F(LinuxSharesTest, WhatIsNoFileOfItsOwnInTheUsersFolderIsNoShare) {
  folder_.put("outside", "#VERSION 2\npath=/srv/x\n");
  link("../outside", "users/linked");
  makeFolder("users/folder");
  ASSERT_EQ(mkfifo(folder_.bytes("users/fifo").c_str(), 0600), 0);
  folder_.put("users/a:b", "#VERSION 2\npath=/srv/x\n");
  folder_.put("users/good", "#VERSION 2\npath=/srv/good\n");
  EXPECT_EQ(shares(), "\\\\Edit-1\\good=/srv/good/");
}

TEST_F(LinuxSharesTest, TheConfigurationMayStandBehindALink) {
  folder_.put("real.conf", "[a]\npath = /a\n");
  link("real.conf", "smb.conf");
  EXPECT_EQ(shares(), "\\\\Edit-1\\a=/a/");
}

TEST_F(LinuxSharesTest, WithoutSambaThereIsNothingToTell) {
  CapturedDiagnostics captured;
  ScopedEnvironment none("FSYS_SHARES", folder_.bytes("none").c_str());
  linuxErrors()->setLastError(7);
  EXPECT_EQ(shares(), "");
  EXPECT_EQ(lastError(), 7u);
  EXPECT_EQ(captured.log, "");
}

TEST_F(LinuxSharesTest, FilesOfMoreThanAMebibyteAreNotRead) {
  constexpr size_t kMost = LinuxShares::kMostFile_bytes;
  std::string config = "[a]\npath = /a\n";
  std::string user = "#VERSION 2\npath=/u\n";
  folder_.put("smb.conf", config + std::string(kMost - config.size(), '\n'));
  folder_.put("users/u", user + std::string(kMost - user.size(), '\n'));
  EXPECT_EQ(shares(), "\\\\Edit-1\\a=/a/ \\\\Edit-1\\u=/u/");
  folder_.put("users/u", user + std::string(kMost - user.size() + 1, '\n'));
  EXPECT_EQ(shares(), "\\\\Edit-1\\a=/a/");
  CapturedDiagnostics captured;
  folder_.put("smb.conf", config + std::string(kMost - config.size() + 1, '\n'));
  EXPECT_EQ(shares(), "");
  EXPECT_EQ(captured.log,
            folder_.bytes("smb.conf") + " is not read, its shares are not known: File too large\n");
}

TEST_F(LinuxSharesTest, AConfigurationThatCannotBeReadIsLoggedAndUsersSharesStay) {
  CapturedDiagnostics captured;
  makeFolder("smb.conf");
  folder_.put("users/u", "#VERSION 2\npath=/u\n");
  EXPECT_EQ(shares(), "\\\\Edit-1\\u=/u/");
  EXPECT_EQ(captured.log,
            folder_.bytes("smb.conf") + " is not read, its shares are not known: Is a directory\n");
}

TEST_F(LinuxSharesTest, OnlyAThousandSharesCountInAll) {
  for (unsigned i = 0; i < SambaConfig::kMostShares + 5; ++i)
    folder_.put("users/u" + std::to_string(10'000 + i), "#VERSION 2\npath=/u\n");
  EXPECT_EQ(files()->getShares(L"Edit-1").size(), SambaConfig::kMostShares);
  folder_.put("smb.conf", "[a]\npath = /a\n");
  Vector<Manager::Share> found = files()->getShares(L"Edit-1");
  ASSERT_EQ(found.size(), SambaConfig::kMostShares);
  EXPECT_TRUE(found[0].localPath == L"/a/");
}

TEST_F(LinuxSharesTest, OfTheUsersFilesOnlyTheFirstThousandAreRead) {
  for (unsigned i = 1; i < SambaConfig::kMostShares; ++i)
    folder_.put("users/none" + std::to_string(10'000 + i), "no share\n");
  folder_.put("users/u1", "#VERSION 2\npath=/u\n");
  folder_.put("users/u2", "#VERSION 2\npath=/u\n");
  EXPECT_EQ(shares(), "\\\\Edit-1\\u1=/u/");
}

TEST_F(LinuxSharesTest, APathBelowAShareIsNamedByThisMachine) {
  makeFolder("media");
  serve("Media", "media");
  EXPECT_EQ(uncNameIn("media/clip.mov"), R"(\\ME\Media\clip.mov)") << "it need not exist";
  EXPECT_EQ(uncNameIn("media/a/b"), R"(\\ME\Media\a\b)");
  EXPECT_EQ(uncNameIn("media/./a/../b"), R"(\\ME\Media\b)");
  EXPECT_EQ(uncNameIn("media"), R"(\\ME\Media)");
  EXPECT_EQ(uncNameIn("media/"), R"(\\ME\Media)");
  EXPECT_EQ(uncNameIn("media/a/"), R"(\\ME\Media\a)");
}

TEST_F(LinuxSharesTest, APathBelowNoShareHasNoName) {
  makeFolder("media");
  makeFolder("media2");
  serve("Media", "media");
  EXPECT_EQ(uncNameIn("media2/clip"), "");
  EXPECT_EQ(uncNameIn("other"), "");
  EXPECT_EQ(uncNameIn("media/a\\b"), "") << "a backslash cannot stand in such a name";
  EXPECT_EQ(uncName("mem:clip"), "");
  EXPECT_EQ(uncName(""), "");
}

TEST_F(LinuxSharesTest, ARelativePathLiesInTheWorkingFolderAndAServedNameDoesNot) {
  makeFolder("media");
  serve("Media", "media");
  int before = open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  ASSERT_EQ(chdir(folder_.bytes("media").c_str()), 0);
  std::string relative = uncName("clip");
  std::string served = uncName("mem:clip");
  EXPECT_EQ(fchdir(before), 0);
  close(before);
  EXPECT_EQ(relative, "\\\\" + workstation() + "\\Media\\clip");
  EXPECT_EQ(served, "");
}

TEST_F(LinuxSharesTest, TheShareWhoseFolderIsNearestNamesThePath) {
  makeFolder("media");
  makeFolder("media/inner");
  serve("all", "media");
  serve("Inner", "media/inner");
  serve("zinner", "media/inner/");
  serve("root", "..");
  EXPECT_EQ(uncNameIn("media/inner/clip"), R"(\\ME\Inner\clip)") << "the first of one folder";
  EXPECT_EQ(uncNameIn("media/clip"), R"(\\ME\all\clip)");
}

TEST_F(LinuxSharesTest, LinksAreFollowedOnBothSides) {
  makeFolder("media");
  makeFolder("disk");
  link("media", "to-media");
  link("disk", "to-disk");
  serve("Media", "to-media");
  serve("Disk", "disk");
  EXPECT_EQ(uncNameIn("media/clip"), R"(\\ME\Media\clip)");
  EXPECT_EQ(uncNameIn("to-media/clip"), R"(\\ME\Media\clip)");
  EXPECT_EQ(uncNameIn("to-disk/clip"), R"(\\ME\Disk\clip)");
}

TEST_F(LinuxSharesTest, BelowANetworkMountItIsTheServersNameAndTheServerIsNotAsked) {
  makeFolder("media");
  serve("Media", "media");
  HeldFileSystem share(folder_.bytes("media/remote"), HeldFileSystem::eEverything, "fuse.sshfs",
                       "user@host:/dir");
  if (!share.isMounted()) GTEST_SKIP() << kNoMount;
  EXPECT_EQ(uncNameIn("media/remote/a/clip.mov"), R"(\\host\dir\a\clip.mov)");
  EXPECT_EQ(uncNameIn("media/remote"), R"(\\host\dir)");
  EXPECT_EQ(uncNameIn("media/remote/"), R"(\\host\dir)");
  EXPECT_EQ(uncNameIn("media/local"), R"(\\ME\Media\local)");
  link("media/remote", "to-remote");
  EXPECT_EQ(uncNameIn("to-remote/clip"), R"(\\host\dir\clip)");
}

TEST_F(LinuxSharesTest, ADriveWithoutAServersNameCanLieInAShare) {
  makeFolder("media");
  serve("Media", "media");
  HeldFileSystem share(folder_.bytes("media/remote"), HeldFileSystem::eEverything, "fuse.s3fs",
                       "bucket");
  if (!share.isMounted()) GTEST_SKIP() << kNoMount;
  EXPECT_EQ(uncNameIn("media/remote/clip"), R"(\\ME\Media\remote\clip)");
}

TEST_F(LinuxSharesTest, WhatIsMountedAgainElsewhereKeepsItsPlaceOnTheServer) {
  HeldFileSystem share(folder_.bytes("remote"), HeldFileSystem::eNothing, "fuse.sshfs",
                       "host:/dir");
  if (!share.isMounted()) GTEST_SKIP() << kNoMount;
  folder_.put("again", "");
  std::string again = folder_.bytes("again");
  ASSERT_EQ(mount(folder_.bytes("remote/held").c_str(), again.c_str(), nullptr, MS_BIND, nullptr),
            0);
  std::string name = uncName(again);
  EXPECT_EQ(umount(again.c_str()), 0);
  EXPECT_EQ(name, R"(\\host\dir\held)");
}

TEST_F(LinuxSharesTest, ADriveThatDoesNotAnswerServesNothingAndIsNotWaitedFor) {
  HeldFileSystem silent(folder_.bytes("silent"), HeldFileSystem::eEverything, "fuse.sshfs");
  if (!silent.isMounted()) GTEST_SKIP() << kNoMount;
  CapturedDiagnostics captured;
  folder_.put("smb.conf", "[a]\npath=/srv/a\n");
  ScopedEnvironment users("FSYS_SHARES", folder_.bytes("silent/users").c_str());
  auto begin = std::chrono::steady_clock::now();
  linuxErrors()->setLastError(7);
  EXPECT_EQ(shares(), "\\\\Edit-1\\a=/srv/a/");
  EXPECT_EQ(lastError(), 7u);
  EXPECT_EQ(captured.log, "");
  std::string config = folder_.bytes("silent/smb.conf");
  ScopedEnvironment configuration("FSYS_SAMBA_CONFIG", config.c_str());
  EXPECT_EQ(shares(), "");
  EXPECT_TRUE(captured.log.starts_with(config + " is not read, its shares are not known: "))
      << captured.log;
  EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(5));
  silent.letGo();
}
