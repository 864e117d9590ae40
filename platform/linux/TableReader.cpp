#include "platform/linux/TableReader.h"

#include <libmount.h>
#include <sys/stat.h>

#include <memory>
#include <string_view>

namespace {

std::string_view textOf(const char* text) { return text ? text : ""; }

}  // namespace

bool TableReader::read(std::vector<MountEntry>& mounts) {
  std::unique_ptr<libmnt_table, decltype(&mnt_unref_table)> table(mnt_new_table(),
                                                                  &mnt_unref_table);
  std::unique_ptr<libmnt_iter, decltype(&mnt_free_iter)> walk(mnt_new_iter(MNT_ITER_FORWARD),
                                                              &mnt_free_iter);
  const char* file = file_.empty() ? nullptr : file_.c_str();
  if (table && walk && mnt_table_parse_mtab(table.get(), file) == 0) {
    libmnt_fs* entry = nullptr;
    while (mnt_table_next_fs(table.get(), walk.get(), &entry) == 0)
      mounts.push_back(describe(entry));
  }
  // There is always one, and each has a number; an older list that the library may fall back to has
  // none.
  return knowsDevices_ && !mounts.empty() && mounts.front().id != 0;
}

MountEntry TableReader::describe(libmnt_fs* entry) {
  MountEntry mount;
  mount.id = static_cast<uint64_t>(mnt_fs_get_id(entry));
  mount.parent = static_cast<uint64_t>(mnt_fs_get_parent_id(entry));
  mount.folder = textOf(mnt_fs_get_target(entry));
  mount.root = textOf(mnt_fs_get_root(entry));
  mount.source = textOf(mnt_fs_get_source(entry));
  mount.fileSystem = textOf(mnt_fs_get_fstype(entry));
  mount.options = textOf(mnt_fs_get_vfs_options(entry));
  // What only the mount library remembers: such as that a disk is behind a network.
  mount.options.append(",").append(textOf(mnt_fs_get_user_options(entry)));
  mount.superOptions = textOf(mnt_fs_get_fs_options(entry));
  mount.network = mnt_fs_is_netfs(entry) != 0;
  mount.pseudo = mnt_fs_is_pseudofs(entry) != 0;
  // The device of a server's file system is the server's: it is not asked for.
  if (!mount.network) mount.device = deviceOf(entry);
  return mount;
}

// The block device of a mount. Some file systems show a number of their own and name the device.
BlockDevice TableReader::deviceOf(libmnt_fs* mount) {
  const BlockDevice& numbered = device(mnt_fs_get_devno(mount));
  if (numbered.known) return numbered;
  std::string source(textOf(mnt_fs_get_source(mount)));
  struct stat status;
  bool isDevice = source.rfind("/dev/", 0) == 0 && stat(source.c_str(), &status) == 0 &&
                  S_ISBLK(status.st_mode);
  return isDevice ? device(status.st_rdev) : BlockDevice();
}

const BlockDevice& TableReader::device(dev_t number) {
  auto [place, isNew] = devices_.try_emplace(number);
  if (isNew) knowsDevices_ = describeBlockDevice(number, place->second, system_) && knowsDevices_;
  return place->second;
}
