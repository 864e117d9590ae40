#include "platform/linux/MountTable.h"

#include <fcntl.h>
#include <libmount.h>
#include <poll.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>
#include <system_error>
#include <vector>

#include "platform/linux/LinuxDisk.h"

namespace {

constexpr char kTableFile[] = "/proc/self/mountinfo";

std::string_view textOf(const char* text) { return text ? text : ""; }

// The block device of a mount. Some file systems show a number of their own and name the device.
BlockDevice deviceOf(libmnt_fs* mount) {
  BlockDevice device = describeBlockDevice(mnt_fs_get_devno(mount));
  if (device.known) return device;
  std::string source(textOf(mnt_fs_get_source(mount)));
  struct stat status;
  bool isDevice = source.rfind("/dev/", 0) == 0 && stat(source.c_str(), &status) == 0 &&
                  S_ISBLK(status.st_mode);
  return isDevice ? describeBlockDevice(status.st_rdev) : device;
}

MountTree::Mount describe(libmnt_fs* entry) {
  // The device of a server's file system is the server's: it is not asked for.
  bool network = mnt_fs_is_netfs(entry) != 0;
  std::string_view kind = textOf(mnt_fs_get_fstype(entry));
  std::string_view options = textOf(mnt_fs_get_options(entry));
  BlockDevice device = network ? BlockDevice() : deviceOf(entry);
  auto type = LinuxDisk::typeOf(kind, options, network, mnt_fs_is_pseudofs(entry) != 0, device);
  MountTree::Mount mount;
  mount.id = static_cast<uint64_t>(mnt_fs_get_id(entry));
  mount.parent = static_cast<uint64_t>(mnt_fs_get_parent_id(entry));
  mount.folder = textOf(mnt_fs_get_target(entry));
  mount.drive = new LinuxDisk(type, device.sectorSize);
  return mount;
}

// Of a system that does not tell, a tree without mounts.
Qv::Ptr<MountTree> readTable() {
  std::vector<MountTree::Mount> mounts;
  std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)> table(mnt_new_table(),
                                                                  &mnt_unref_table);
  std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> walk(mnt_new_iter(MNT_ITER_FORWARD),
                                                              &mnt_free_iter);
  if (table && walk && mnt_table_parse_mtab(table.get(), nullptr) == 0) {
    libmnt_fs* entry = nullptr;
    while (mnt_table_next_fs(table.get(), walk.get(), &entry) == 0)
      mounts.push_back(describe(entry));
  }
  return Qv::Ptr<MountTree>(new MountTree(mounts));
}

}  // namespace

Qv::Ptr<iDiskDrive> MountTable::find(const std::string& path, int& error) {
  error = ENOENT;
  if (path.empty()) return nullptr;
  std::string whole = path;
  if (path.front() != '/') {
    std::error_code failed;
    whole = (std::filesystem::current_path(failed) / path).string();
    if (failed) {
      error = failed.value();
      return nullptr;
    }
  }
  return latest()->find(whole, error);
}

Qv::Ptr<MountTree> MountTable::latest() {
  MutexLock lock(lock_);
  if (hasChangedLocked() || !tree_) tree_ = readTable();
  return tree_;
}

bool MountTable::hasChangedLocked() {
  if (watch_ < 0) {
    watch_ = open(kTableFile, O_RDONLY | O_CLOEXEC);
    return true;
  }
  pollfd question = {watch_, POLLPRI, 0};
  return poll(&question, 1, 0) > 0;
}
