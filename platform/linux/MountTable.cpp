#include "platform/linux/MountTable.h"

#include <fcntl.h>
#include <libmount.h>
#include <poll.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <cerrno>
#include <filesystem>
#include <memory>
#include <string_view>

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

bool lies(const std::string& path, const std::string& folder) {
  if (path.compare(0, folder.size(), folder) != 0) return false;
  return path.size() == folder.size() || folder.back() == '/' || path[folder.size()] == '/';
}

std::string absolute(const std::string& path) {
  std::error_code failed;
  std::filesystem::path whole = std::filesystem::absolute(path, failed);
  return failed ? path : whole.lexically_normal().string();
}

// The folder that holds the path; empty when there is none above it.
std::string folderAbove(std::string path) {
  while (path.size() > 1 && path.back() == '/') path.pop_back();
  size_t slash = path.rfind('/');
  if (slash == std::string::npos) return path == "." ? "" : ".";
  if (slash == 0) return path == "/" ? "" : "/";
  return path.substr(0, slash);
}

}  // namespace

Qv::Ptr<iDiskDrive> MountTable::find(const std::string& path, int& error) {
  Qv::Ptr<iDiskDrive> drive = findNetwork(absolute(path));
  if (drive) return drive;
  Place place;
  if (!locate(path, place, error)) return nullptr;
  error = ENOENT;
  return findPlace(place);
}

bool MountTable::locate(std::string path, Place& place, int& error) {
  while (!path.empty()) {
    struct statx answer = {};
    int flags = AT_STATX_DONT_SYNC | AT_NO_AUTOMOUNT;
    if (statx(AT_FDCWD, path.c_str(), flags, STATX_MNT_ID, &answer) == 0) {
      if (answer.stx_mask & STATX_MNT_ID) place.mount = answer.stx_mnt_id;
      place.device = makedev(answer.stx_dev_major, answer.stx_dev_minor);
      return true;
    }
    error = errno;
    if (error != ENOENT && error != ENOTDIR) return false;
    path = folderAbove(path);
  }
  return false;
}

Qv::Ptr<iDiskDrive> MountTable::findNetwork(const std::string& path) {
  MutexLock lock(lock_);
  if (hasChangedLocked()) refreshLocked();
  const NetworkMount* best = nullptr;
  for (const NetworkMount& mount : networkMounts_) {
    bool closer = !best || mount.folder.size() >= best->folder.size();
    if (closer && lies(path, mount.folder)) best = &mount;
  }
  return best ? best->drive : nullptr;
}

Qv::Ptr<iDiskDrive> MountTable::findPlace(const Place& place) {
  MutexLock lock(lock_);
  auto mount = byMount_.find(place.mount);
  if (mount != byMount_.end()) return mount->second;
  auto device = byDevice_.find(place.device);
  return device != byDevice_.end() ? device->second : nullptr;
}

bool MountTable::hasChangedLocked() {
  if (watch_ < 0) {
    watch_ = open(kTableFile, O_RDONLY | O_CLOEXEC);
    return true;
  }
  pollfd question = {watch_, POLLPRI, 0};
  return poll(&question, 1, 0) > 0;
}

void MountTable::refreshLocked() {
  byMount_.clear();
  byDevice_.clear();
  networkMounts_.clear();
  std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)> table(mnt_new_table(),
                                                                  &mnt_unref_table);
  std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> walk(mnt_new_iter(MNT_ITER_FORWARD),
                                                              &mnt_free_iter);
  if (!table || !walk || mnt_table_parse_mtab(table.get(), nullptr) != 0) return;
  libmnt_fs* mount = nullptr;
  while (mnt_table_next_fs(table.get(), walk.get(), &mount) == 0) addLocked(mount);
}

void MountTable::addLocked(void* entry) {
  auto* mount = static_cast<libmnt_fs*>(entry);
  // The device of a server's file system is the server's: it is not asked for.
  bool network = mnt_fs_is_netfs(mount) != 0;
  std::string_view kind = textOf(mnt_fs_get_fstype(mount));
  std::string_view options = textOf(mnt_fs_get_options(mount));
  BlockDevice device = network ? BlockDevice() : deviceOf(mount);
  auto type = LinuxDisk::typeOf(kind, options, network, mnt_fs_is_pseudofs(mount) != 0, device);
  Qv::Ptr<iDiskDrive> drive(new LinuxDisk(type, device.sectorSize));
  byMount_[static_cast<uint64_t>(mnt_fs_get_id(mount))] = drive;
  byDevice_[mnt_fs_get_devno(mount)] = drive;
  std::string folder(textOf(mnt_fs_get_target(mount)));
  if (type == iDiskDrive::eNetwork && !folder.empty()) networkMounts_.push_back({folder, drive});
}
