#include "platform/linux/DriveKind.h"

#include <algorithm>
#include <array>
#include <string_view>

namespace {

constexpr std::array<std::string_view, 24> kNetworkPrograms = {
    "fuse.sshfs",     "fuse.rclone",    "fuse.s3fs",      "fuse.s3ql",     "fuse.gcsfuse",
    "fuse.goofys",    "fuse.geesefs",   "fuse.curlftpfs", "fuse.davfs",    "fuse.davfs2",
    "fuse.glusterfs", "fuse.ceph",      "fuse.ceph-fuse", "fuse.juicefs",  "fuse.mfs",
    "fuse.moosefs",   "fuse.lizardfs",  "fuse.saunafs",   "fuse.smbnetfs", "fuse.gvfsd-fuse",
    "fuse.blobfuse2", "fuse.seaweedfs", "fuse.nfs",       "fuse.ftpfs"};

// Kernel file systems of servers that the mount library does not count.
constexpr std::array<std::string_view, 8> kNetworkKinds = {"ceph",  "lustre", "beegfs",   "gpfs",
                                                           "davfs", "coda",   "orangefs", "pvfs2"};

// They have no device number of a disk, but lie on disks or in memory of this machine.
constexpr std::array<std::string_view, 8> kLocalKinds = {"tmpfs", "ramfs", "devtmpfs", "overlay",
                                                         "btrfs", "zfs",   "bcachefs", "ubifs"};

// Folders of the machine on which this one runs; both keep locks to themselves unless told not to.
constexpr std::array<std::string_view, 2> kOfTheHost = {"9p", "virtiofs"};
// Options with which a server is told nothing of locks: of NFS, Samba and Lustre.
constexpr std::array<std::string_view, 5> kLocalLocks = {"nolock", "local_lock=all",
                                                         "local_lock=posix", "nobrl", "localflock"};

constexpr std::array<std::string_view, 8> kSystemTrees = {
    "/boot", "/efi", "/proc", "/sys", "/dev", "/run", "/snap", "/var/lib/snapd"};
// Where desktops mount what people plug in.
constexpr std::string_view kPluggedIn = "/run/media";

template <size_t N>
bool isOneOf(std::string_view name, const std::array<std::string_view, N>& names) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

bool hasOption(std::string_view options, std::string_view option) {
  while (!options.empty()) {
    std::string_view first = options.substr(0, options.find(','));
    if (first == option) return true;
    options.remove_prefix(std::min(options.size(), first.size() + 1));
  }
  return false;
}

bool hasOption(const MountEntry& mount, std::string_view option) {
  return hasOption(mount.options, option) || hasOption(mount.superOptions, option);
}

// The tree's own folder is in it.
bool isIn(std::string_view folder, std::string_view tree) {
  return folder.substr(0, tree.size()) == tree &&
         (folder.size() == tree.size() || folder[tree.size()] == '/');
}

bool isNetwork(const MountEntry& mount) {
  return mount.network || isOneOf(mount.fileSystem, kNetworkPrograms) ||
         isOneOf(mount.fileSystem, kNetworkKinds) || hasOption(mount, "_netdev");
}

// Of a program of this machine: "fuse", "fuseblk", "fuse.encfs".
bool isProgram(std::string_view fileSystem) {
  return fileSystem == "fuse" || fileSystem == "fuseblk" || fileSystem.rfind("fuse.", 0) == 0 ||
         fileSystem.rfind("fuseblk.", 0) == 0;
}

}  // namespace

iDiskDrive::eType driveTypeOf(const MountEntry& mount) {
  const std::string& kind = mount.fileSystem;
  if (isNetwork(mount)) return iDiskDrive::eNetwork;
  if (kind == "tmpfs" || kind == "ramfs" || kind == "devtmpfs") return iDiskDrive::eMemory;
  if (kind == "iso9660" || mount.device.optical) return iDiskDrive::eOptical;
  if (mount.device.known)
    return mount.device.removable ? iDiskDrive::eRemovable : iDiskDrive::eFixed;
  // A layer over folders of this machine, though the mount library counts it as no real one.
  if (kind == "overlay") return iDiskDrive::eFixed;
  return mount.pseudo ? iDiskDrive::eUnknown : iDiskDrive::eFixed;
}

bool answersByItself(const MountEntry& mount) {
  if (isNetwork(mount) || isProgram(mount.fileSystem) || isAutomount(mount)) return false;
  return mount.device.known || mount.pseudo || isOneOf(mount.fileSystem, kLocalKinds);
}

bool sharesLocks(const MountEntry& mount) {
  bool isDisk = mount.fileSystem == "fuseblk";
  if ((isProgram(mount.fileSystem) && !isDisk) || isOneOf(mount.fileSystem, kOfTheHost))
    return false;
  return std::none_of(kLocalLocks.begin(), kLocalLocks.end(),
                      [&](std::string_view option) { return hasOption(mount, option); });
}

bool isAutomount(const MountEntry& mount) { return mount.fileSystem == "autofs"; }

bool isPseudo(const MountEntry& mount) { return driveTypeOf(mount) == iDiskDrive::eUnknown; }

bool isNoPlaceForMedia(const MountEntry& mount) {
  if (isPseudo(mount) || isAutomount(mount) || hasOption(mount, "ro")) return true;
  if (isIn(mount.folder, kPluggedIn)) return false;
  return std::any_of(kSystemTrees.begin(), kSystemTrees.end(),
                     [&](std::string_view tree) { return isIn(mount.folder, tree); });
}
