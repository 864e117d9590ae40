#include "platform/linux/LinuxDisk.h"

#include <algorithm>
#include <array>

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

}  // namespace

bool LinuxDisk::isNetworkProgram(std::string_view fileSystem) {
  return isOneOf(fileSystem, kNetworkPrograms) || isOneOf(fileSystem, kNetworkKinds);
}

iDiskDrive::eType LinuxDisk::typeOf(std::string_view fileSystem, std::string_view options,
                                    bool network, bool pseudo, const BlockDevice& device) {
  if (network || isNetworkProgram(fileSystem) || hasOption(options, "_netdev")) return eNetwork;
  if (fileSystem == "tmpfs" || fileSystem == "ramfs" || fileSystem == "devtmpfs") return eMemory;
  if (fileSystem == "iso9660" || device.optical) return eOptical;
  if (device.known) return device.removable ? eRemovable : eFixed;
  // A layer over folders of this machine, though the mount library counts it as no real one.
  if (fileSystem == "overlay") return eFixed;
  return pseudo ? eUnknown : eFixed;
}
