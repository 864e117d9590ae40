// What is read of the mounts that a list in the system's format has.

#include "platform/linux/TableReader.h"

#include <sys/stat.h>

#include <filesystem>
#include <string>
#include <vector>

#include "platform/linux/DriveKind.h"
#include "tests/integration/SystemFolderFixture.h"

namespace {

class LinuxTableReaderTest : public SystemFolderFixture {
protected:
  // What is read of the lines, which are the end of a list that begins with the root.
  std::vector<MountEntry> read(const std::string& lines) {
    list_.put("mountinfo", "21 1 8:1 / / rw,relatime shared:1 - ext4 /dev/sda1 rw\n" + lines);
    std::vector<MountEntry> mounts;
    EXPECT_TRUE(TableReader(list_.bytes("mountinfo"), system_.path()).read(mounts));
    if (!mounts.empty()) mounts.erase(mounts.begin());
    return mounts;
  }
  MountEntry readOne(const std::string& line) {
    std::vector<MountEntry> mounts = read(line);
    EXPECT_EQ(mounts.size(), 1u) << line;
    return mounts.empty() ? MountEntry() : mounts[0];
  }

  ScratchFolder list_;
  // What the mount library remembers of this machine's mounts is not of this list.
  ScopedEnvironment remembered_{"LIBMOUNT_UTAB", list_.bytes("utab").c_str()};
};

TEST_F(LinuxTableReaderTest, AMountIsAsItsLineSays) {
  system_.put(madeDisk(17, "pci0/usb2/block/sdb") + "/queue/logical_block_size", "4096\n");
  MountEntry mount = readOne(
      "24 21 8:17 /sub /media/disk rw,nosuid,relatime master:2 shared:3 - xfs /dev/sdb1 "
      "rw,quota\n");
  EXPECT_EQ(mount.id, 24u);
  EXPECT_EQ(mount.parent, 21u);
  EXPECT_EQ(mount.folder, "/media/disk");
  EXPECT_EQ(mount.root, "/sub");
  EXPECT_EQ(mount.source, "/dev/sdb1");
  EXPECT_EQ(mount.fileSystem, "xfs");
  EXPECT_EQ(mount.options, "rw,nosuid,relatime,");
  EXPECT_EQ(mount.superOptions, "rw,quota");
  EXPECT_FALSE(mount.network);
  EXPECT_FALSE(mount.pseudo);
  EXPECT_TRUE(mount.device.removable);
  EXPECT_EQ(mount.device.sectorSize, 4096u);
  EXPECT_EQ(driveTypeOf(mount), iDiskDrive::eRemovable);
}

TEST_F(LinuxTableReaderTest, SharesAreOfTheNetworkAndTheirDeviceIsNotAskedFor) {
  madeDisk(40, "pci0/block/sda");
  for (const char* share : {"nfs server:/export", "nfs4 server:/export", "cifs //server/share",
                            "smb3 //server/share", "9p share"}) {
    MountEntry mount =
        readOne("24 21 8:40 / /net/share rw - " + std::string(share) + " rw,vers=4.2\n");
    EXPECT_TRUE(mount.network) << share;
    EXPECT_FALSE(mount.device.known) << share;
    EXPECT_EQ(driveTypeOf(mount), iDiskDrive::eNetwork) << share;
    EXPECT_FALSE(answersByItself(mount)) << share;
  }
}

TEST_F(LinuxTableReaderTest, WhatTheMountLibraryRemembersIsAnOptionToo) {
  madeDisk(17, "pci0/block/sdb");
  const std::string line = "24 21 8:17 / /media/far rw - ext4 /dev/sdb1 rw\n";
  EXPECT_EQ(driveTypeOf(readOne(line)), iDiskDrive::eFixed);
  list_.put("utab", "ID=24 SRC=/dev/sdb1 TARGET=/media/far ROOT=/ OPTS=_netdev,x-own=1\n");
  MountEntry mount = readOne(line);
  EXPECT_EQ(mount.options, "rw,_netdev,x-own=1");
  EXPECT_TRUE(mount.device.known);
  EXPECT_EQ(driveTypeOf(mount), iDiskDrive::eNetwork);
}

TEST_F(LinuxTableReaderTest, FileSystemsOfTheSystemArePseudo) {
  for (const char* kind : {"proc", "sysfs", "cgroup2", "tmpfs", "devtmpfs"})
    EXPECT_TRUE(readOne("24 21 0:22 / /x rw - " + std::string(kind) + " none rw\n").pseudo) << kind;
}

// Some disk of this machine; it is only looked up by its name.
std::string someDisk(dev_t& device) {
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator("/dev", ignored)) {
    struct stat status;
    if (stat(entry.path().c_str(), &status) != 0 || !S_ISBLK(status.st_mode)) continue;
    device = status.st_rdev;
    return entry.path();
  }
  return "";
}

TEST_F(LinuxTableReaderTest, AFileSystemWithANumberOfItsOwnIsOnTheDiskThatItNames) {
  dev_t device = 0;
  std::string disk = someDisk(device);
  if (disk.empty()) GTEST_SKIP() << "there is no block device in /dev";
  madeDevice(device, "pci0/usb1/block/any");
  const std::string tail = " rw,subvolid=256,subvol=/@home\n";
  MountEntry mount = readOne("24 21 0:42 /@home /home rw - btrfs " + disk + tail);
  EXPECT_TRUE(mount.device.known);
  EXPECT_EQ(driveTypeOf(mount), iDiskDrive::eRemovable);
  EXPECT_TRUE(answersByItself(mount));
  for (const char* other : {"/dev/null", "/dev/none/such", "tank/home"}) {
    mount = readOne("24 21 0:42 /@home /home rw - btrfs " + std::string(other) + tail);
    EXPECT_FALSE(mount.device.known) << other;
    EXPECT_EQ(driveTypeOf(mount), iDiskDrive::eFixed) << other;
  }
}

TEST_F(LinuxTableReaderTest, EscapedNamesAreTheirBytes) {
  std::vector<MountEntry> mounts = read(
      "24 21 8:17 /a\\040b /media/a\\040b\\011c\\012d\\134e rw - ext4 /dev/x\\040y rw\n"
      "25 21 8:17 / /media/m\xE9\xFF\xC3 rw - ext4 /dev/sdb1 rw\n"
      "26 21 8:17 / /media/\\043 rw - ext4 /dev/sdb1 rw\n");
  ASSERT_EQ(mounts.size(), 3u);
  EXPECT_EQ(mounts[0].folder, "/media/a b\tc\nd\\e");
  EXPECT_EQ(mounts[0].root, "/a b");
  EXPECT_EQ(mounts[0].source, "/dev/x y");
  EXPECT_EQ(mounts[1].folder, "/media/m\xE9\xFF\xC3");
  EXPECT_EQ(mounts[2].folder, "/media/#");
}

TEST_F(LinuxTableReaderTest, WithoutAListNothingIsRead) {
  std::vector<MountEntry> mounts;
  EXPECT_FALSE(TableReader(list_.bytes("none"), system_.path()).read(mounts));
  list_.put("empty", "");
  EXPECT_FALSE(TableReader(list_.bytes("empty"), system_.path()).read(mounts));
  EXPECT_TRUE(mounts.empty());
}

TEST_F(LinuxTableReaderTest, AnOlderListWithoutNumbersIsNotEnough) {
  list_.put("mounts", "/dev/sda1 / ext4 rw,relatime 0 0\n");
  std::vector<MountEntry> mounts;
  EXPECT_FALSE(TableReader(list_.bytes("mounts"), system_.path()).read(mounts));
}

}  // namespace
