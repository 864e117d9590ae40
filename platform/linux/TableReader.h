#pragma once

#include <sys/types.h>

#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/linux/BlockDevice.h"
#include "platform/linux/MountEntry.h"

struct libmnt_fs;

// TableReader: reads a list of mounts once, with the mount library.
// Story      The list is this machine's, or in a file in the same format, with a folder that tells
//            of its disks as the system's does. A disk with many mounts is described once.
// Threads    one.
class TableReader {
public:
  TableReader() = default;
  TableReader(std::string file, std::string system)
      : file_(std::move(file)), system_(std::move(system)) {}

  // False when the system had no descriptor or memory to tell all of it.
  bool read(std::vector<MountEntry>& mounts);

private:
  MountEntry describe(libmnt_fs* mount);
  BlockDevice deviceOf(libmnt_fs* mount);
  const BlockDevice& device(dev_t number);

  std::string file_;  // empty: this machine's list
  std::string system_ = kSystemFolder;
  std::unordered_map<dev_t, BlockDevice> devices_;
  bool knowsDevices_ = true;
};
