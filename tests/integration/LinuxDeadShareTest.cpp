#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <future>
#include <string>

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "platform/linux/MountTree.h"
#include "tests/support/HeldFileSystem.h"
#include "tests/support/ScratchFolder.h"

namespace {

void linkIn(const ScratchFolder& folder, const std::string& target, const std::string& name) {
  ASSERT_EQ(symlink(target.c_str(), folder.bytes(name).c_str()), 0);
}

// The drives of paths into and around a share that answers nothing at all.
class LinuxDeadShareTest : public ::testing::Test {
protected:
  // Far more than any answer takes; only a failure waits so long.
  static constexpr std::chrono::seconds kPatience{10};

  LinuxDeadShareTest()
      : share_(folder_.bytes("share"), HeldFileSystem::eEverything, "fuse.sshfs") {}

  void SetUp() override {
    if (!share_.isMounted()) GTEST_SKIP() << "no file system can be mounted here";
  }

  void link(const std::string& target, const char* name) { linkIn(folder_, target, name); }

  // The kind of the drive of a path in the folder; eUnknown when it has none. A failure when the
  // answer waits for the share.
  iDiskDrive::eType kindOf(const char* name) {
    auto ask = [&] {
      Qv::Ptr<iDiskDrive> drive = linuxFileManager()->getDisk(folder_ / name);
      return drive ? drive->getType() : iDiskDrive::eUnknown;
    };
    std::future<iDiskDrive::eType> answer = std::async(std::launch::async, ask);
    if (answer.wait_for(kPatience) != std::future_status::ready) {
      ADD_FAILURE() << name << ": the share is waited for";
      share_.letGo();
    }
    return answer.get();
  }

  ScratchFolder folder_;
  HeldFileSystem share_;
};

TEST_F(LinuxDeadShareTest, WhatLiesOnItIsToldToBeOnANetworkDriveAtOnce) {
  for (const char* name :
       {"share", "share/", "share/clip", "share/no/such/../folder/clip", "share/./clip"})
    EXPECT_EQ(kindOf(name), iDiskDrive::eNetwork) << name;
}

TEST_F(LinuxDeadShareTest, SoIsWhatIsReachedThroughLinks) {
  ASSERT_EQ(mkdir(folder_.bytes("inner").c_str(), 0700), 0);
  link(folder_.bytes("share"), "whole");
  link("share", "part");
  link("../share/folder", "inner/up");
  link("part", "second");
  link("whole/clip", "file");
  for (const char* name : {"whole", "whole/", "whole/clip", "part/clip", "inner/up", "second/clip",
                           "inner/up/../clip", "inner/../second", "file"})
    EXPECT_EQ(kindOf(name), iDiskDrive::eNetwork) << name;
}

TEST_F(LinuxDeadShareTest, APathThatLeavesItAgainIsOnTheDriveWhereItEnds) {
  link("share", "part");
  folder_.put("clip", "x");
  iDiskDrive::eType here = kindOf("");
  EXPECT_NE(here, iDiskDrive::eNetwork);
  for (const char* name :
       {"share/../clip", "part/../clip", "part/folder/../../clip", "shared/clip"})
    EXPECT_EQ(kindOf(name), here) << name;
}

TEST_F(LinuxDeadShareTest, ADriveMountedOverItsFolderHidesIt) {
  HeldFileSystem hidden(folder_.bytes("outer-share"), HeldFileSystem::eEverything, "fuse.sshfs");
  std::string outer = folder_.bytes("outer"), inner = outer + "/share";
  ASSERT_EQ(mkdir(outer.c_str(), 0700), 0);
  ASSERT_EQ(mkdir(inner.c_str(), 0700), 0);
  ASSERT_EQ(mount(folder_.bytes("outer-share").c_str(), inner.c_str(), nullptr, MS_BIND, nullptr),
            0);
  EXPECT_EQ(kindOf("outer/share/clip"), iDiskDrive::eNetwork);
  ASSERT_EQ(mount("none", outer.c_str(), "tmpfs", 0, "size=1m"), 0);
  EXPECT_EQ(kindOf("outer/share/clip"), iDiskDrive::eMemory);
  EXPECT_EQ(umount2(outer.c_str(), MNT_DETACH), 0);
  EXPECT_EQ(kindOf("outer/share/clip"), iDiskDrive::eNetwork);
  EXPECT_EQ(umount2(inner.c_str(), MNT_DETACH), 0);
}

TEST_F(LinuxDeadShareTest, OfDrivesMountedOnOneFolderTheLastCounts) {
  std::string place = folder_.bytes("share");
  ASSERT_EQ(mount("none", place.c_str(), "tmpfs", 0, "size=1m"), 0);
  EXPECT_EQ(kindOf("share/clip"), iDiskDrive::eMemory);
  EXPECT_EQ(umount2(place.c_str(), MNT_DETACH), 0);
  EXPECT_EQ(kindOf("share/clip"), iDiskDrive::eNetwork);
}

TEST(LinuxDriveLinkTest, AsManyLinksAreFollowedAsTheSystemFollowsAndNotOneMore) {
  ScratchFolder folder;
  linkIn(folder, ".", "0");
  for (unsigned i = 1; i <= MountTree::kMostLinks; ++i)
    linkIn(folder, std::to_string(i - 1), std::to_string(i));
  EXPECT_TRUE(linuxFileManager()->getDisk(folder / "39"));
  EXPECT_EQ(access(folder.bytes("39").c_str(), F_OK), 0);
  EXPECT_FALSE(linuxFileManager()->getDisk(folder / "40"));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsErrorBase + ELOOP);
  EXPECT_NE(access(folder.bytes("40").c_str(), F_OK), 0);
}

TEST(LinuxDriveLinkTest, ALinkToNothingIsOnTheDriveOnWhichItsFileWouldBe) {
  ScratchFolder folder;
  linkIn(folder, "/proc/no-such-folder/clip", "away");
  linkIn(folder, "no-such-folder/clip", "here");
  Qv::Ptr<iDiskDrive> away = linuxFileManager()->getDisk(folder / "away");
  Qv::Ptr<iDiskDrive> here = linuxFileManager()->getDisk(folder / "here");
  ASSERT_TRUE(away);
  ASSERT_TRUE(here);
  EXPECT_EQ(away->getType(), iDiskDrive::eUnknown);
  EXPECT_NE(here->getType(), iDiskDrive::eUnknown);
}

}  // namespace
