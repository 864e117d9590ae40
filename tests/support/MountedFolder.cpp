#include "tests/support/MountedFolder.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

MountedFolder::MountedFolder(eKind kind, unsigned size_mib) {
  const std::string place = scratch_.bytes("mounted");
  if (kind == eDisk) {
    path_ = scratch_.path();
    return;
  }
  if (!run("mkdir '" + place + "'")) return;
  path_ = place;
  if (kind == eMemory) {
    mounted_ =
        run("mount -t tmpfs -o size=" + std::to_string(size_mib) + "m fsys-test '" + place + "'");
  } else {
    mountDrive(kind, size_mib);
  }
  if (!mounted_) path_.clear();
}

MountedFolder::~MountedFolder() {
  if (mounted_) run("umount '" + scratch_.bytes("mounted") + "'");
  if (!loop_.empty()) run("losetup -d " + loop_);
}

void MountedFolder::mountDrive(eKind kind, unsigned size_mib) {
  // An xfs is never smaller.
  if (kind == eXfs) size_mib = std::max(size_mib, 320u);
  const std::string sector = kind == eLargeSectors ? "4096" : "512";
  const std::string image = scratch_.bytes("image");
  const std::string answer = scratch_.bytes("answer");
  if (!run("truncate -s " + std::to_string(size_mib) + "M '" + image + "'")) return;
  if (!run("losetup -b " + sector + " -f --show '" + image + "' >'" + answer + "'")) return;
  std::getline(std::ifstream(answer) >> std::ws, loop_);
  if (!run((kind == eXfs ? "mkfs.xfs -q " : "mkfs.ext4 -q -b 4096 ") + loop_)) return;
  mounted_ = run("mount " + loop_ + " '" + scratch_.bytes("mounted") + "'");
}

// False, and why() set, when the command failed.
bool MountedFolder::run(const std::string& command) {
  if (std::system((command + " 2>/dev/null").c_str()) == 0) return true;
  if (why_.empty()) why_ = "refused here: " + command;
  return false;
}
