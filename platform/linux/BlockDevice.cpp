#include "platform/linux/BlockDevice.h"

#include <fcntl.h>
#include <sys/sysmacros.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <memory>
#include <string>
#include <system_error>

namespace {

constexpr uint32_t kLargestSector = 1u << 20;
constexpr uint32_t kOpticalKind = 5;  // of the SCSI device kinds
constexpr size_t kMostDigits = 32;    // of an attribute

// DiskLook: looks at what the system tells of one disk.
class DiskLook {
public:
  // In the folder where the system tells of its devices.
  DiskLook(dev_t device, const std::string& system);

  // Of the whole disk: a partition's lies inside it. Empty: the number is no block device's.
  const std::string& folder() const { return folder_; }
  // False when there is no such attribute, or it is not known.
  bool readNumber(const std::string& attribute, uint32_t& value);
  // Whether there was a descriptor and memory for every look.
  bool isWhole() const { return isWhole_; }

private:
  void note(int error);

  std::string folder_;
  bool isWhole_ = true;
};

DiskLook::DiskLook(dev_t device, const std::string& system) {
  std::string path =
      system + "/dev/block/" + std::to_string(major(device)) + ":" + std::to_string(minor(device));
  std::unique_ptr<char, decltype(&std::free)> whole(realpath(path.c_str(), nullptr), &std::free);
  if (!whole) {
    note(errno);
    return;
  }
  folder_ = whole.get();
  uint32_t partition = 0;
  if (readNumber("/partition", partition)) folder_.erase(folder_.rfind('/'));
}

void DiskLook::note(int error) {
  if (error == EMFILE || error == ENFILE || error == ENOMEM) isWhole_ = false;
}

bool DiskLook::readNumber(const std::string& attribute, uint32_t& value) {
  std::array<char, kMostDigits> text = {};
  int file = open((folder_ + attribute).c_str(), O_RDONLY | O_CLOEXEC);
  ssize_t bytes = file < 0 ? -1 : read(file, text.data(), text.size());
  if (bytes < 0) note(errno);
  if (file >= 0) close(file);
  return bytes > 0 && std::from_chars(text.data(), text.data() + bytes, value).ec == std::errc();
}

}  // namespace

bool describeBlockDevice(dev_t device, BlockDevice& answer, const std::string& system) {
  answer = BlockDevice();
  DiskLook disk(device, system);
  if (disk.folder().empty()) return disk.isWhole();
  answer.known = true;
  uint32_t value = 0;
  if (disk.readNumber("/queue/logical_block_size", value) && value <= kLargestSector)
    answer.sectorSize = value;
  answer.removable = (disk.readNumber("/removable", value) && value != 0) ||
                     disk.folder().find("/usb") != std::string::npos;
  answer.optical = disk.readNumber("/device/type", value) && value == kOpticalKind;
  return disk.isWhole();
}
