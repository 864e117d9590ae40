#pragma once

#include <gtest/gtest.h>
#include <sys/sysmacros.h>

#include <filesystem>
#include <string>

#include "platform/linux/BlockDevice.h"
#include "tests/support/ScratchFolder.h"

// SystemFolderFixture: a folder that tells of disks as the system's does.
class SystemFolderFixture : public testing::Test {
protected:
  static constexpr unsigned kMajor = 8;

  // Makes a disk in the folder of its bus. What is told of it is put into its own folder, which is
  // the answer.
  std::string madeDisk(unsigned minor, const std::string& place) const {
    return madeDevice(makedev(kMajor, minor), place);
  }
  std::string madeDevice(dev_t device, const std::string& place) const {
    std::string folder = "devices/" + place;
    for (const char* inner : {"/queue", "/device"})
      std::filesystem::create_directories(system_.bytes(folder + inner));
    number(device, folder);
    return folder;
  }
  // Under its number the system finds a device's folder.
  void number(dev_t device, const std::string& folder) const {
    std::string link = std::to_string(major(device)) + ":" + std::to_string(minor(device));
    std::filesystem::create_directories(system_.bytes("dev/block"));
    std::filesystem::create_symlink("../../" + folder, system_.bytes("dev/block/" + link));
  }

  ScratchFolder system_;
};
