#pragma once

#include <string_view>

#include "platform/OsFiles.h"
#include "platform/linux/BlockDevice.h"

// LinuxDisk: the drive behind one mount, as it was when it was asked for.
class LinuxDisk final : public iDiskDrive {
public:
  static constexpr uint32_t kUsualSectorSize = 512;  // where the device does not tell

  LinuxDisk(eType type, uint32_t sectorSize)
      : type_(type), sectorSize_(sectorSize != 0 ? sectorSize : kUsualSectorSize) {}

  eType getType() const override { return type_; }
  uint32_t getSectorSize() const override { return sectorSize_; }

  // The kind of drive. `network` and `pseudo` are the mount library's judgement of the file system.
  static eType typeOf(std::string_view fileSystem, std::string_view options, bool network,
                      bool pseudo, const BlockDevice& device);
  // File systems that reach over a network though they are run by a program of this machine.
  static bool isNetworkProgram(std::string_view fileSystem);

private:
  const eType type_;
  const uint32_t sectorSize_;
};
