#include "platform/linux/LinuxDisk.h"

#include <gtest/gtest.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>

#include "platform/OS.h"
#include "platform/linux/LinuxFileManager.h"
#include "tests/support/ScratchFolder.h"

namespace {

class LinuxDiskTest : public ::testing::Test {
protected:
  static iDiskDrive::eType typeOf(const char* fileSystem, BlockDevice device = {},
                                  const char* options = "rw", bool network = false,
                                  bool pseudo = false) {
    return LinuxDisk::typeOf(fileSystem, options, network, pseudo, device);
  }
  static BlockDevice block(bool removable = false, bool optical = false) {
    BlockDevice device;
    device.known = true;
    device.removable = removable;
    device.optical = optical;
    return device;
  }
  // Somebody else's mount may have made the table anew in between.
  static bool isLike(const Qv::Ptr<iDiskDrive>& drive, const Qv::Ptr<iDiskDrive>& other) {
    return drive && other && drive->getType() == other->getType() &&
           drive->getSectorSize() == other->getSectorSize();
  }

  ScratchFolder folder_;
};

TEST_F(LinuxDiskTest, DisksAreFixedUnlessTheirMediumCanBeTakenOut) {
  EXPECT_EQ(typeOf("ext4", block()), iDiskDrive::eFixed);
  EXPECT_EQ(typeOf("exfat", block(true)), iDiskDrive::eRemovable);
  EXPECT_EQ(typeOf("btrfs"), iDiskDrive::eFixed);
  EXPECT_EQ(typeOf("overlay", {}, "rw", false, true), iDiskDrive::eFixed);
  EXPECT_EQ(typeOf("fuseblk", block()), iDiskDrive::eFixed);
}

TEST_F(LinuxDiskTest, ServersAreNetworkDrivesWhoeverRunsTheFileSystem) {
  EXPECT_EQ(typeOf("nfs4", {}, "rw", true), iDiskDrive::eNetwork);
  EXPECT_EQ(typeOf("fuse.sshfs"), iDiskDrive::eNetwork);
  EXPECT_EQ(typeOf("fuse.rclone"), iDiskDrive::eNetwork);
  EXPECT_EQ(typeOf("ceph"), iDiskDrive::eNetwork);
  EXPECT_EQ(typeOf("ext4", block(), "rw,_netdev,noatime"), iDiskDrive::eNetwork);
  EXPECT_EQ(typeOf("ext4", block(), "rw,x_netdev"), iDiskDrive::eFixed);
  EXPECT_EQ(typeOf("fuse.encfs"), iDiskDrive::eFixed);
}

TEST_F(LinuxDiskTest, DiscsMemoryAndSystemMountsHaveTheirOwnKinds) {
  EXPECT_EQ(typeOf("iso9660", block(true, true)), iDiskDrive::eOptical);
  EXPECT_EQ(typeOf("udf", block(true, true)), iDiskDrive::eOptical);
  EXPECT_EQ(typeOf("udf", block(true)), iDiskDrive::eRemovable);
  EXPECT_EQ(typeOf("tmpfs", {}, "rw", false, true), iDiskDrive::eMemory);
  EXPECT_EQ(typeOf("ramfs", {}, "rw", false, true), iDiskDrive::eMemory);
  EXPECT_EQ(typeOf("proc", {}, "rw", false, true), iDiskDrive::eUnknown);
}

TEST_F(LinuxDiskTest, AnUnknownSectorSizeIs512) {
  EXPECT_EQ(LinuxDisk(iDiskDrive::eFixed, 0).getSectorSize(), 512u);
  EXPECT_EQ(LinuxDisk(iDiskDrive::eFixed, 4096).getSectorSize(), 4096u);
}

TEST_F(LinuxDiskTest, TheScratchFoldersDriveHasASectorSizeThatDividesAPage) {
  Qv::Ptr<iDiskDrive> drive = linuxFileManager()->getDisk(folder_ / "");
  ASSERT_TRUE(drive);
  EXPECT_GE(drive->getSectorSize(), 512u);
  EXPECT_EQ(4096 % drive->getSectorSize(), 0u);
}

TEST_F(LinuxDiskTest, AMissingFileIsOnTheDriveOfTheNearestFolderThatExists) {
  Qv::Ptr<iDiskDrive> here = linuxFileManager()->getDisk(folder_ / "");
  ASSERT_TRUE(here);
  EXPECT_TRUE(isLike(linuxFileManager()->getDisk(folder_ / "no/such/folder/file"), here));
  folder_.put("file", "x");
  EXPECT_TRUE(isLike(linuxFileManager()->getDisk(folder_ / "file/below"), here));
  EXPECT_TRUE(linuxFileManager()->getDisk(L"file-in-the-current-folder"));
  EXPECT_TRUE(linuxFileManager()->getDisk(L"/"));
  EXPECT_TRUE(linuxFileManager()->getDisk(L"/no-such-folder/file"));
}

TEST_F(LinuxDiskTest, AnEmptyPathIsOnNoDrive) {
  EXPECT_FALSE(linuxFileManager()->getDisk(L""));
  EXPECT_EQ(nativeOS()->getErrors()->getLastError(), eOsNotFound);
}

TEST_F(LinuxDiskTest, AMountThatComesAndGoesIsSeenAtOnce) {
  Qv::Ptr<iDiskDrive> before = linuxFileManager()->getDisk(folder_ / "");
  std::string place = folder_.bytes("memory");
  ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
  if (mount("none", place.c_str(), "tmpfs", 0, "size=1m") != 0)
    GTEST_SKIP() << "mounting is not allowed here";
  Qv::Ptr<iDiskDrive> during = linuxFileManager()->getDisk(folder_ / "memory/clip");
  EXPECT_EQ(umount(place.c_str()), 0);
  Qv::Ptr<iDiskDrive> after = linuxFileManager()->getDisk(folder_ / "memory/clip");
  ASSERT_TRUE(during);
  EXPECT_EQ(during->getType(), iDiskDrive::eMemory);
  EXPECT_EQ(during->getSectorSize(), 512u);
  ASSERT_TRUE(before);
  ASSERT_TRUE(after);
  EXPECT_EQ(after->getType(), before->getType());
}

TEST_F(LinuxDiskTest, ALoopDeviceWithLargeSectorsTellsTheirSize) {
  std::string image = folder_.bytes("image"), place = folder_.bytes("disk");
  ASSERT_EQ(mkdir(place.c_str(), 0700), 0);
  std::string make = "truncate -s 16M " + image + " && losetup -f --show -b 4096 " + image + " > " +
                     folder_.bytes("loop") + " 2>/dev/null";
  if (geteuid() != 0 || std::system(make.c_str()) != 0)
    GTEST_SKIP() << "no loop device can be had here";
  std::string device = folder_.content("loop");
  device.erase(device.find_last_not_of('\n') + 1);
  std::string detach = "losetup -d " + device;
  std::string format = "mkfs.ext4 -q -b 4096 " + device + " 2>/dev/null && mount " + device + " " +
                       place + " 2>/dev/null";
  if (std::system(format.c_str()) != 0) {
    EXPECT_EQ(std::system(detach.c_str()), 0);
    GTEST_SKIP() << "the loop device could not be formatted and mounted";
  }
  Qv::Ptr<iDiskDrive> drive = linuxFileManager()->getDisk(folder_ / "disk/clip");
  EXPECT_EQ(umount(place.c_str()), 0);
  EXPECT_EQ(std::system(detach.c_str()), 0);
  ASSERT_TRUE(drive);
  EXPECT_EQ(drive->getType(), iDiskDrive::eFixed);
  EXPECT_EQ(drive->getSectorSize(), 4096u);
}

}  // namespace
