#pragma once

#include <cstdint>
#include <string>

#include "platform/linux/BlockDevice.h"

// MountEntry: one mount, as the system lists it.
// Units      texts are bytes, as the system has them.
struct MountEntry {
  uint64_t id = 0;
  uint64_t parent = 0;       // the mount in which the folder lies
  std::string folder;        // where it is mounted: absolute, without links
  std::string root;          // which folder of the file system lies there; "/": all of it
  std::string source;        // what is mounted: "/dev/sda1", "server:/export", "//server/share"
  std::string fileSystem;    // "ext4"
  std::string options;       // of the mount, separated by commas
  std::string superOptions;  // of the file system, wherever it is mounted
  bool network = false;      // the mount library's judgement
  bool pseudo = false;       // the mount library's judgement
  BlockDevice device;
};

// MountedAt: what is mounted where a path lies, and where in it.
struct MountedAt {
  MountEntry mount;
  std::string rest;  // of the path, below the mount's folder: "a/b"; empty: that folder itself
};
