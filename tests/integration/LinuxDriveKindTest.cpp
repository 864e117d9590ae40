#include "platform/linux/DriveKind.h"

#include <gtest/gtest.h>

#include <string>

namespace {

MountEntry mounted(const std::string& fileSystem) {
  MountEntry mount;
  mount.folder = "/media/drive";
  mount.root = "/";
  mount.fileSystem = fileSystem;
  mount.options = mount.superOptions = "rw";
  return mount;
}

// What the mount library calls a pseudo file system.
MountEntry pseudo(const std::string& fileSystem) {
  MountEntry mount = mounted(fileSystem);
  mount.pseudo = true;
  return mount;
}

MountEntry onDisk(const std::string& fileSystem, bool removable = false, bool optical = false) {
  MountEntry mount = mounted(fileSystem);
  mount.device.known = true;
  mount.device.removable = removable;
  mount.device.optical = optical;
  return mount;
}

MountEntry served(const std::string& fileSystem) {
  MountEntry mount = mounted(fileSystem);
  mount.network = true;
  return mount;
}

MountEntry at(const std::string& folder) {
  MountEntry mount = onDisk("ext4");
  mount.folder = folder;
  return mount;
}

MountEntry with(MountEntry mount, const std::string& options) {
  mount.options = options;
  return mount;
}

TEST(LinuxDriveKindTest, DisksAreFixedUnlessTheirMediumCanBeTakenOut) {
  EXPECT_EQ(driveTypeOf(onDisk("ext4")), iDiskDrive::eFixed);
  EXPECT_EQ(driveTypeOf(onDisk("exfat", true)), iDiskDrive::eRemovable);
  EXPECT_EQ(driveTypeOf(mounted("btrfs")), iDiskDrive::eFixed);
  EXPECT_EQ(driveTypeOf(pseudo("overlay")), iDiskDrive::eFixed);
  EXPECT_EQ(driveTypeOf(onDisk("fuseblk")), iDiskDrive::eFixed);
}

TEST(LinuxDriveKindTest, ServersAreNetworkDrivesWhoeverRunsTheFileSystem) {
  EXPECT_EQ(driveTypeOf(served("nfs4")), iDiskDrive::eNetwork);
  EXPECT_EQ(driveTypeOf(mounted("fuse.sshfs")), iDiskDrive::eNetwork);
  EXPECT_EQ(driveTypeOf(mounted("fuse.rclone")), iDiskDrive::eNetwork);
  EXPECT_EQ(driveTypeOf(mounted("ceph")), iDiskDrive::eNetwork);
  EXPECT_EQ(driveTypeOf(with(onDisk("ext4"), "rw,_netdev,noatime")), iDiskDrive::eNetwork);
  EXPECT_EQ(driveTypeOf(with(onDisk("ext4"), "rw,x_netdev")), iDiskDrive::eFixed);
  EXPECT_EQ(driveTypeOf(mounted("fuse.encfs")), iDiskDrive::eFixed);
  EXPECT_EQ(driveTypeOf(mounted("fuse.mergerfs")), iDiskDrive::eFixed);
}

TEST(LinuxDriveKindTest, DiscsMemoryAndPseudoFileSystemsHaveTheirOwnKinds) {
  EXPECT_EQ(driveTypeOf(onDisk("iso9660", true, true)), iDiskDrive::eOptical);
  EXPECT_EQ(driveTypeOf(onDisk("iso9660")), iDiskDrive::eOptical) << "also as an image";
  EXPECT_EQ(driveTypeOf(onDisk("udf", true, true)), iDiskDrive::eOptical);
  EXPECT_EQ(driveTypeOf(onDisk("udf", true)), iDiskDrive::eRemovable);
  EXPECT_EQ(driveTypeOf(pseudo("tmpfs")), iDiskDrive::eMemory);
  EXPECT_EQ(driveTypeOf(pseudo("ramfs")), iDiskDrive::eMemory);
  EXPECT_EQ(driveTypeOf(pseudo("devtmpfs")), iDiskDrive::eMemory);
  EXPECT_EQ(driveTypeOf(pseudo("proc")), iDiskDrive::eUnknown);
}

TEST(LinuxDriveKindTest, DisksAndMemoryOfThisMachineAnswerByThemselves) {
  for (const char* kind : {"ext4", "xfs", "vfat", "iso9660"})
    EXPECT_TRUE(answersByItself(onDisk(kind))) << kind;
  for (const char* kind : {"tmpfs", "ramfs", "devtmpfs", "overlay", "proc", "cgroup2"})
    EXPECT_TRUE(answersByItself(pseudo(kind))) << kind;
  for (const char* kind : {"btrfs", "zfs", "bcachefs", "ubifs"})
    EXPECT_TRUE(answersByItself(mounted(kind))) << kind;
}

TEST(LinuxDriveKindTest, ServersProgramsAutomountsAndWhatIsNotKnownMayFallSilent) {
  for (const char* kind : {"nfs", "nfs4", "cifs", "smb3", "9p"})
    EXPECT_FALSE(answersByItself(served(kind))) << kind;
  for (const char* kind : {"fuse", "fuse.sshfs", "fuse.mergerfs", "ceph", "virtiofs", "newfs"})
    EXPECT_FALSE(answersByItself(mounted(kind))) << kind;
  for (const char* kind : {"fuseblk", "fuseblk.ntfs-3g"})
    EXPECT_FALSE(answersByItself(onDisk(kind))) << kind;
  for (const char* kind : {"autofs", "fuse.portal", "fuse"})
    EXPECT_FALSE(answersByItself(pseudo(kind))) << kind;
  EXPECT_FALSE(answersByItself(with(onDisk("ext4"), "rw,_netdev")));
  EXPECT_TRUE(answersByItself(pseudo("fusectl"))) << "it is the kernel's";
}

TEST(LinuxDriveKindTest, ProgramsThatReachAServerAreNetworkDrivesByTheirNames) {
  for (const char* name :
       {"sshfs",     "rclone",     "s3fs",      "s3ql",      "gcsfuse",   "goofys",
        "geesefs",   "curlftpfs",  "davfs",     "davfs2",    "glusterfs", "ceph",
        "ceph-fuse", "juicefs",    "mfs",       "moosefs",   "lizardfs",  "saunafs",
        "smbnetfs",  "gvfsd-fuse", "blobfuse2", "seaweedfs", "nfs",       "ftpfs"}) {
    std::string kind = std::string("fuse.") + name;
    EXPECT_EQ(driveTypeOf(mounted(kind)), iDiskDrive::eNetwork) << kind;
    EXPECT_EQ(driveTypeOf(pseudo(kind)), iDiskDrive::eNetwork) << kind;
    EXPECT_FALSE(answersByItself(mounted(kind))) << kind;
    EXPECT_FALSE(answersByItself(pseudo(kind))) << kind;
    EXPECT_EQ(driveTypeOf(mounted(kind + "x")), iDiskDrive::eFixed) << "whole names count";
  }
}

TEST(LinuxDriveKindTest, ServersOfTheKernelThatTheLibraryDoesNotCountAreNetworkDrives) {
  for (const char* kind :
       {"ceph", "lustre", "beegfs", "gpfs", "davfs", "coda", "orangefs", "pvfs2"}) {
    EXPECT_EQ(driveTypeOf(mounted(kind)), iDiskDrive::eNetwork) << kind;
    EXPECT_FALSE(answersByItself(mounted(kind))) << kind;
    EXPECT_FALSE(answersByItself(pseudo(kind))) << kind;
    EXPECT_FALSE(answersByItself(onDisk(kind))) << kind;
  }
}

TEST(LinuxDriveKindTest, WithoutADiskOnlyTheKernelsOwnKindsAnswerByThemselves) {
  for (const char* kind :
       {"tmpfs", "ramfs", "devtmpfs", "overlay", "btrfs", "zfs", "bcachefs", "ubifs"})
    EXPECT_TRUE(answersByItself(mounted(kind))) << kind;
  for (const char* kind : {"ext4", "xfs", "virtiofs", "9p", "afs", "vboxsf", "tmpfs2"})
    EXPECT_FALSE(answersByItself(mounted(kind))) << kind;
}

TEST(LinuxDriveKindTest, DisksMemoryAndServersAreForMedia) {
  EXPECT_FALSE(isNoPlaceForMedia(onDisk("ext4")));
  EXPECT_FALSE(isNoPlaceForMedia(pseudo("tmpfs")));
  EXPECT_FALSE(isNoPlaceForMedia(pseudo("overlay")));
  EXPECT_FALSE(isNoPlaceForMedia(served("nfs4")));
  EXPECT_FALSE(isNoPlaceForMedia(mounted("fuse.mergerfs")));
  EXPECT_FALSE(isNoPlaceForMedia(at("/")));
}

TEST(LinuxDriveKindTest, PseudoFileSystemsAndAutomountsAreTheSystems) {
  for (const char* kind : {"proc", "sysfs", "cgroup2", "autofs", "fuse.portal"})
    EXPECT_TRUE(isNoPlaceForMedia(pseudo(kind))) << kind;
  // Where it is not counted among them.
  EXPECT_TRUE(isNoPlaceForMedia(mounted("autofs")));
}

TEST(LinuxDriveKindTest, WhatCannotBeWrittenIsNoPlaceForMedia) {
  EXPECT_TRUE(isNoPlaceForMedia(with(onDisk("ext4"), "ro,relatime")));
  EXPECT_TRUE(isNoPlaceForMedia(with(onDisk("ext4"), "relatime,ro")));
  MountEntry whole = onDisk("squashfs");
  whole.superOptions = "ro,errors=continue";
  EXPECT_TRUE(isNoPlaceForMedia(whole));
  EXPECT_FALSE(isNoPlaceForMedia(with(onDisk("ext4"), "rw,errors=remount-ro,rows")));
}

TEST(LinuxDriveKindTest, NeitherAreTheSystemsOwnFolders) {
  for (const char* folder :
       {"/boot", "/boot/efi", "/efi", "/proc/sys", "/sys/fs/bpf", "/dev/shm", "/run",
        "/run/user/1000", "/run/user/1000/gvfs", "/snap/core/1", "/var/lib/snapd/snap/core/1"})
    EXPECT_TRUE(isNoPlaceForMedia(at(folder))) << folder;
  for (const char* folder :
       {"/bootleg", "/run/media/me/Disk", "/media/me/boot", "/runs", "/devices", "/srv/dev",
        "/home", "/var/lib", "/snapshots", "/mnt/proc"})
    EXPECT_FALSE(isNoPlaceForMedia(at(folder))) << folder;
  EXPECT_TRUE(isNoPlaceForMedia(at("/run/mediator")));
}

TEST(LinuxDriveKindTest, LocksAreSharedSaveWhereAProgramOrAnOptionKeepsThemHere) {
  for (const char* fileSystem : {"ext4", "fuseblk"}) EXPECT_TRUE(sharesLocks(onDisk(fileSystem)));
  for (const char* fileSystem : {"nfs", "nfs4", "cifs", "smb3", "lustre"})
    EXPECT_TRUE(sharesLocks(with(served(fileSystem), "rw,vers=4.2,local_lock=none")));
  for (const char* fileSystem : {"fuse", "fuse.sshfs", "fuse.ceph", "9p", "virtiofs"})
    EXPECT_FALSE(sharesLocks(mounted(fileSystem))) << fileSystem;
  for (const char* option :
       {"nolock", "local_lock=all", "local_lock=posix", "nobrl", "localflock"}) {
    MountEntry mount = served("nfs");
    mount.superOptions = std::string("rw,") + option;
    EXPECT_FALSE(sharesLocks(mount)) << option;
    EXPECT_FALSE(sharesLocks(with(served("nfs"), option))) << option;
  }
}

}  // namespace
