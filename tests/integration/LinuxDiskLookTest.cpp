// What is told of the disk under a device number.

#include "tests/integration/SystemFolderFixture.h"

namespace {

class LinuxDiskLookTest : public SystemFolderFixture {
protected:
  BlockDevice described(unsigned minor) const {
    BlockDevice device;
    EXPECT_TRUE(describeBlockDevice(makedev(kMajor, minor), device, system_.path()));
    return device;
  }
};

TEST_F(LinuxDiskLookTest, ADiskInTheMachineIsNotRemovableAndHasItsSectorSize) {
  std::string disk = madeDisk(1, "pci0/ata1/block/sda");
  system_.put(disk + "/queue/logical_block_size", "4096\n");
  system_.put(disk + "/removable", "0\n");
  system_.put(disk + "/device/type", "0\n");
  BlockDevice device = described(1);
  EXPECT_TRUE(device.known);
  EXPECT_FALSE(device.removable);
  EXPECT_FALSE(device.optical);
  EXPECT_EQ(device.sectorSize, 4096u);
}

TEST_F(LinuxDiskLookTest, AMediumThatCanBeTakenOutAndADiskOnTheHotPlugBusAreRemovable) {
  system_.put(madeDisk(1, "pci0/block/mmcblk0") + "/removable", "1\n");
  system_.put(madeDisk(2, "pci0/usb2/2-1/block/sdb") + "/removable", "0\n");
  system_.put(madeDisk(3, "pci0/ata-usb2/block/sdc") + "/removable", "0\n");
  EXPECT_TRUE(described(1).removable);
  EXPECT_TRUE(described(2).removable);
  EXPECT_FALSE(described(3).removable) << "only a whole name is the bus";
}

TEST_F(LinuxDiskLookTest, ADiskOfTheFifthKindIsOptical) {
  for (unsigned kind = 0; kind < 16; ++kind) {
    std::string disk = madeDisk(kind, "pci0/block/sr" + std::to_string(kind));
    system_.put(disk + "/device/type", std::to_string(kind) + "\n");
    EXPECT_EQ(described(kind).optical, kind == 5) << kind;
  }
}

TEST_F(LinuxDiskLookTest, APartitionAnswersForItsDisk) {
  std::string disk = madeDisk(0, "pci0/block/sda");
  system_.put(disk + "/queue/logical_block_size", "2048\n");
  system_.put(disk + "/removable", "1\n");
  std::filesystem::create_directories(system_.bytes(disk + "/sda7"));
  system_.put(disk + "/sda7/partition", "7\n");
  number(makedev(kMajor, 7), disk + "/sda7");
  EXPECT_TRUE(described(7).removable);
  EXPECT_EQ(described(7).sectorSize, 2048u);
}

TEST_F(LinuxDiskLookTest, WhatIsNotToldIsNotKnown) {
  EXPECT_FALSE(described(1).known);
  madeDisk(2, "pci0/block/sda");
  EXPECT_TRUE(described(2).known);
  EXPECT_FALSE(described(2).removable);
  EXPECT_FALSE(described(2).optical);
  EXPECT_EQ(described(2).sectorSize, 0u);
}

TEST_F(LinuxDiskLookTest, ASectorOfMoreThan1MibOrOfNoNumberIsNone) {
  std::string disk = madeDisk(1, "pci0/block/sda");
  auto sectorOf = [&](const char* text) {
    system_.put(disk + "/queue/logical_block_size", text);
    return described(1).sectorSize;
  };
  EXPECT_EQ(sectorOf("1048576\n"), 1048576u);
  EXPECT_EQ(sectorOf("1048577\n"), 0u);
  EXPECT_EQ(sectorOf("99999999999\n"), 0u);
  EXPECT_EQ(sectorOf("many\n"), 0u);
  EXPECT_EQ(sectorOf(""), 0u);
}

}  // namespace
