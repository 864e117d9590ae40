// What the file manager tells of names and changes in folders.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <optional>
#include <string>
#include <system_error>

#include "platform/common/NamePattern.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/DriveKind.h"
#include "platform/linux/FileOpening.h"
#include "platform/linux/FolderListing.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/LinuxFileManager.h"
#include "platform/linux/LinuxShares.h"
#include "platform/linux/LinuxSystemInfo.h"
#include "platform/linux/UncName.h"

namespace {

using Path = LightweightString<wchar_t>;

constexpr unsigned kMostLinks = 40;    // one after the other: as many as the system follows
constexpr mode_t kPermissions = 0777;  // nothing that lends the owner's rights to who runs it
constexpr mode_t kEveryMode = 07777;
constexpr mode_t kEveryoneReads = 0444;

bool failed(uint32_t error) {
  failWith(error);
  return false;
}

bool statusOf(const Path& path, std::string& bytes, struct stat& status) {
  return bytesOf(path, bytes) && succeeded(stat(bytes.c_str(), &status));
}

std::string joined(const std::string& folder, const std::string& rest) {
  if (rest.empty()) return folder;
  return folder.ends_with('/') ? folder + rest : folder + "/" + rest;
}

// The folder, with its separator, and the last name; separators at the end are not counted.
void splitLast(std::string path, std::string& folder, std::string& name) {
  path.erase(path.find_last_not_of('/') + 1);
  size_t start = path.rfind('/') + 1;
  folder = start == 0 ? "." : path.substr(0, start);
  name = path.substr(start);
}

// 0, or the system's error number. Only the last name may be missing, also behind a link.
int resolve(std::string path, std::string& target) {
  if (path.empty()) return ENOENT;
  for (unsigned links = 0; links <= kMostLinks; ++links) {
    std::error_code error;
    target = std::filesystem::canonical(path, error).string();
    if (error != std::errc::no_such_file_or_directory) return error.value();
    std::string folder;
    std::string name;
    splitLast(path, folder, name);
    folder = std::filesystem::canonical(folder, error).string();
    if (error || name.empty()) return ENOENT;
    target = joined(folder, name);
    std::string next = std::filesystem::read_symlink(target, error).string();
    if (error) return 0;
    path = next.starts_with('/') ? next : joined(folder, next);
  }
  return ELOOP;
}

// Who may not read a file may still be its owner.
Qv::Ptr<OpenDescriptors> openItself(const std::string& path) {
  FileOpening how;
  how.noLink = true;
  how.read = true;
  Qv::Ptr<OpenDescriptors> opened = openRegularFile(path, how);
  if (opened || nativeOS()->getErrors()->getLastError() != eOsAccessDenied) return opened;
  how.read = false;
  how.write = true;
  return openRegularFile(path, how);
}

// Who may not give a file away keeps it, and gives what he may.
void takeOwner(int descriptor, const struct stat& from) {
  if (fchown(descriptor, from.st_uid, from.st_gid) != 0) [[maybe_unused]]
    int groupAlone = fchown(descriptor, static_cast<uid_t>(-1), from.st_gid);
}

// Where the file system knows no such thing there is nothing that could be lost.
bool isUnknownHere(int error) {
  return error == EINVAL || error == ENOTSUP || error == ENOSYS || error == EROFS;
}

// 0, or the system's error number.
int syncOpened(int descriptor) {
  while (fsync(descriptor) != 0)
    if (errno != EINTR) return isUnknownHere(errno) ? 0 : errno;
  return 0;
}

// The folder that a pattern names, and the pattern of the files in it, good for as long as the
// whole. Not open, and the thread's last error set, when it is not to be had.
Descriptor folderOfPattern(const Path& pattern, std::wstring_view& signs) {
  std::string folder;
  std::string name;
  size_t start = pattern.rfind(L"/") + 1;
  signs = pattern.view().substr(start);
  if (!bytesOf(pattern.substr(0, start), folder)) return {};
  if (!bytesOf(Path(std::wstring_view(withoutLiteralSigns(signs))), name)) return {};
  Descriptor opened(openFolder(start == 0 ? "." : folder));
  if (!opened.isOpen()) failWithErrno(errno);
  return opened;
}

// The mount that holds a path, and the path without links. False, and the thread's last error set,
// when it is not known.
bool locate(MountTable& mounts, const std::string& path, MountedAt& at, std::string& whole) {
  int error = ENOENT;
  if (!mounts.describe(path, at, error)) return failed(osErrorOf(error));
  whole = joined(at.mount.folder, at.rest);
  return true;
}

// Below the share whose folder is nearest; the path is without links, and so are the folders made.
Path nameInShares(MountTable& mounts, const std::string& path) {
  LinuxShares shares;
  std::string share;
  std::optional<std::string> below;
  for (const SambaConfig::Share& candidate : shares.all()) {
    MountedAt at;
    std::string folder;
    if (!locate(mounts, candidate.folder, at, folder)) continue;
    std::optional<std::string> rest = UncName::restBelow(folder, path);
    if (!rest || (below && below->size() <= rest->size())) continue;
    below = rest;
    share = candidate.name;
  }
  if (!below) return {};
  return UncName::ofShare(linuxSystemInfo()->getWorkstationName(), share, *below);
}

}  // namespace

bool LinuxFileManager::folderExists(const Path& path) {
  std::string bytes;
  struct stat status = {};
  if (!statusOf(path, bytes, status)) return false;
  return S_ISDIR(status.st_mode) || failed(eOsNotAFolder);
}

bool LinuxFileManager::isWritable(const Path& path) {
  std::string bytes;
  struct stat status = {};
  if (!statusOf(path, bytes, status)) return false;
  bool isFolder = S_ISDIR(status.st_mode);
  if (!isFolder && !S_ISREG(status.st_mode)) return failed(eOsNotSupported);
  int rights = isFolder ? W_OK | X_OK : W_OK;
  return succeeded(faccessat(AT_FDCWD, bytes.c_str(), rights, AT_EACCESS));
}

bool LinuxFileManager::listFiles(const Path& pattern, Vector<ListedFile>& files) {
  files.clear();
  std::wstring_view signs;
  Descriptor folder = folderOfPattern(pattern, signs);
  if (!folder.isOpen()) return false;
  FolderListing listing(folder.number(), signs);
  files.swap(listing.files());
  return listing.error() == 0 || failed(osErrorOf(listing.error()));
}

bool LinuxFileManager::renameFile(const Path& from, const Path& to) {
  std::string source;
  std::string target;
  struct stat status = {};
  if (!bytesOf(from, source) || !bytesOf(to, target)) return false;
  if (isServed(from) || isServed(to)) return failed(eOsNotSupported);
  if (!succeeded(lstat(source.c_str(), &status))) return false;
  if (S_ISDIR(status.st_mode)) return failed(eOsIsAFolder);
  return succeeded(rename(source.c_str(), target.c_str()));
}

bool LinuxFileManager::syncFolder(const Path& path) {
  std::string bytes;
  if (!bytesOf(path, bytes)) return false;
  int descriptor = openFolder(bytes);
  if (descriptor < 0) return failed(osErrorOf(errno));
  int error = syncOpened(descriptor);
  close(descriptor);
  return error == 0 || failed(osErrorOf(error));
}

bool LinuxFileManager::followLinks(const Path& path, Path& target) {
  target = Path();
  std::string bytes;
  if (!bytesOf(path, bytes)) return false;
  std::string found;
  if (int error = resolve(bytes, found)) return failed(osErrorOf(error));
  target = fromUTF8(std::string_view(found));
  return true;
}

bool LinuxFileManager::copyMode(const Path& from, const Path& to) {
  std::string source;
  std::string target;
  struct stat status = {};
  if (!bytesOf(from, source) || !bytesOf(to, target)) return false;
  if (!succeeded(lstat(source.c_str(), &status))) return false;
  if (S_ISDIR(status.st_mode)) return failed(eOsIsAFolder);
  if (S_ISLNK(status.st_mode)) return true;
  Qv::Ptr<OpenDescriptors> opened = openItself(target);
  if (!opened) return false;
  // The owner first: a new one takes away what the mode must then say.
  takeOwner(opened->cached(), status);
  return succeeded(fchmod(opened->cached(), status.st_mode & kPermissions));
}

// Who may write a file that is not his may change its time, but not its mode.
bool LinuxFileManager::markFile(const Path& path) {
  std::string bytes;
  struct stat status = {};
  if (!bytesOf(path, bytes)) return false;
  if (isServed(path)) return failed(eOsNotSupported);
  Qv::Ptr<OpenDescriptors> opened = openItself(bytes);
  if (!opened || !succeeded(fstat(opened->cached(), &status))) return false;
  if (status.st_nlink > 1 || status.st_size > 0) return failed(eOsNotPermitted);
  mode_t mode = status.st_mode & kEveryMode;
  mode_t wanted = mode | kEveryoneReads;
  bool isReadable = mode == wanted || succeeded(fchmod(opened->cached(), wanted));
  return succeeded(futimens(opened->cached(), nullptr)) && isReadable;
}

bool LinuxFileManager::askLock(const Path& path, LockState& state) {
  state = eLockUnknown;
  std::string bytes;
  if (!bytesOf(path, bytes)) return false;
  if (isServed(path)) return failed(eOsNotSupported);
  FileOpening how;
  how.read = true;
  how.noLink = true;
  Qv::Ptr<OpenDescriptors> opened = openRegularFile(bytes, how);
  if (!opened) return false;
  struct flock lock = {};
  lock.l_type = F_WRLCK;
  lock.l_whence = SEEK_SET;
  while (fcntl(opened->cached(), F_OFD_GETLK, &lock) != 0)
    if (errno != EINTR) return knowsNoLocks(errno) || failed(osErrorOf(errno));
  MountedAt at;
  int error = 0;
  if (lock.l_type != F_UNLCK)
    state = eLockHeld;
  else if (mounts_.describe(bytes, at, error) && sharesLocks(at.mount))
    state = eLockFree;
  else
    state = eLockFreeHere;
  return true;
}

Path LinuxFileManager::getUNCName(const Path& path) {
  std::string bytes;
  std::string whole;
  MountedAt at;
  if (isServed(path) || !bytesOf(path, bytes) || !locate(mounts_, bytes, at, whole)) return {};
  const MountEntry& mount = at.mount;
  Path name =
      UncName::ofMount({mount.source, mount.fileSystem, mount.superOptions, mount.root}, at.rest);
  return name.empty() ? nameInShares(mounts_, whole) : name;
}

Vector<iFileManager::Share> LinuxFileManager::getShares(const Path& workstation) {
  if (workstation.empty()) return {};
  return LinuxShares().ofWorkstation(workstation);
}
