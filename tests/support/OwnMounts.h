#pragma once

#include <sched.h>
#include <sys/mount.h>

#include <fstream>
#include <string>
#include <vector>

// OwnMounts: from here on this process has a list of mounts of its own, without the file systems of
// programs that others have mounted: what a test counts is not what the test beside it mounts.
// Before the first look at drives; where it is not allowed, the list stays everybody's.
class OwnMounts {
public:
  OwnMounts() { [[maybe_unused]] static const bool isOwn = leave(); }

private:
  static bool leave() {
    if (unshare(CLONE_NEWNS) != 0) return false;
    if (mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) return false;
    for (const std::string& folder : programsFolders()) umount2(folder.c_str(), MNT_DETACH);
    return true;
  }
  // What lies on another comes after it in the list, and goes first.
  static std::vector<std::string> programsFolders() {
    std::vector<std::string> folders;
    std::ifstream mounts("/proc/self/mounts");
    std::string source;
    std::string folder;
    std::string kind;
    for (std::string rest; mounts >> source >> folder >> kind && std::getline(mounts, rest);)
      if (kind.starts_with("fuse")) folders.insert(folders.begin(), folder);
    return folders;
  }
};
