#include "platform/linux/BlockDevice.h"

#include <sys/sysmacros.h>

#include <cstdlib>
#include <fstream>
#include <memory>
#include <string>

namespace {

constexpr uint32_t kLargestSector = 1u << 20;
constexpr int kOpticalKind = 5;  // of the SCSI device kinds

// False when there is no such attribute.
bool readNumber(const std::string& path, uint32_t& value) {
  std::ifstream file(path);
  return static_cast<bool>(file >> value);
}

std::string resolve(const std::string& path) {
  std::unique_ptr<char, decltype(&std::free)> whole(realpath(path.c_str(), nullptr), &std::free);
  return whole ? whole.get() : "";
}

// The folder of the whole disk: a partition's lies inside it.
std::string diskFolder(dev_t device) {
  std::string folder = resolve("/sys/dev/block/" + std::to_string(major(device)) + ":" +
                               std::to_string(minor(device)));
  uint32_t partition = 0;
  if (!folder.empty() && readNumber(folder + "/partition", partition))
    folder.erase(folder.rfind('/'));
  return folder;
}

}  // namespace

BlockDevice describeBlockDevice(dev_t device) {
  BlockDevice answer;
  std::string disk = diskFolder(device);
  if (disk.empty()) return answer;
  answer.known = true;
  uint32_t value = 0;
  if (readNumber(disk + "/queue/logical_block_size", value) && value <= kLargestSector)
    answer.sectorSize = value;
  answer.removable = (readNumber(disk + "/removable", value) && value != 0) ||
                     disk.find("/usb") != std::string::npos;
  answer.optical = readNumber(disk + "/device/type", value) && value == kOpticalKind;
  return answer;
}
