#include "bench/table/PrivateMounts.h"

#include <fcntl.h>
#include <sched.h>
#include <sys/mount.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <system_error>

PrivateMounts::PrivateMounts() {
  if (unshare(CLONE_NEWNS) != 0 || mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0)
    refused("a list of mounts of its own");
}

bool PrivateMounts::addMemory(const std::string& folder) { return add(folder, "tmpfs", "size=1m"); }

bool PrivateMounts::addSilent(const std::string& folder) {
  Descriptor device(open("/dev/fuse", O_RDWR | O_CLOEXEC));
  if (!device.isOpen()) return refused("/dev/fuse");
  const std::string options =
      "fd=" + std::to_string(device.get()) + ",rootmode=40755,user_id=0,group_id=0";
  devices_.push_back(std::move(device));
  // The plain kind is taken for one that holds no files.
  return add(folder, "fuse.silent", options);
}

bool PrivateMounts::add(const std::string& folder, const char* kind, const std::string& options) {
  if (!why_.empty()) return false;
  std::error_code ignored;
  std::filesystem::create_directories(folder, ignored);
  if (mount(kind, folder.c_str(), kind, MS_NOSUID | MS_NODEV, options.c_str()) == 0) return true;
  return refused(std::string("mounting a ") + kind);
}

bool PrivateMounts::refused(const std::string& what) {
  if (why_.empty()) why_ = "refused here: " + what + ": " + std::strerror(errno);
  return false;
}
