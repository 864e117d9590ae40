#include "platform/linux/FileOpening.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <new>

#include "platform/linux/LinuxFailure.h"

namespace {

constexpr mode_t kNewFileMode = 0666;        // less the process's mask
constexpr unsigned kMostOpenings = 16;       // of a name that gets one file after another
constexpr uint32_t kExchanged = UINT32_MAX;  // no OsError: the name got another file meanwhile

int systemFlags(const FileOpening& how) {
  int flags = how.write ? (how.read ? O_RDWR : O_WRONLY) : O_RDONLY;
  if (how.noLink) flags |= O_NOFOLLOW;
  return flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
}

int openAgain(const std::string& path, int flags) {
  for (;;) {
    int descriptor = open(path.c_str(), flags, kNewFileMode);
    if (descriptor >= 0 || errno != EINTR) return descriptor;
  }
}

// What is there and is to be locked is not asked to be made: in a folder where everybody makes
// files the system may refuse that of somebody else's, though it may be written.
int openByName(const std::string& path, const FileOpening& how) {
  const int flags = systemFlags(how);
  if (how.create == FileOpening::eNever) return openAgain(path, flags);
  if (how.create == FileOpening::eIfMissing && !how.holdLock)
    return openAgain(path, flags | O_CREAT);
  if (how.create == FileOpening::eIfMissing) {
    int descriptor = openAgain(path, flags);
    if (descriptor >= 0 || errno != ENOENT) return descriptor;
  }
  return openAgain(path, flags | O_CREAT | O_EXCL);
}

// Why there is no descriptor. A FIFO without a reader, a socket, or a device without a driver says
// so here, and so does a file that was made since it was missing.
uint32_t openingError(int number, const FileOpening& how) {
  if (number == EEXIST && how.create == FileOpening::eIfMissing) return kExchanged;
  return number == ENXIO || number == ENODEV ? uint32_t{eOsNotSupported} : osErrorOf(number);
}

// 0, or why the open file cannot be used.
uint32_t checkKind(const struct stat& status) {
  if (S_ISREG(status.st_mode)) return 0;
  return S_ISDIR(status.st_mode) ? eOsIsAFolder : eOsNotSupported;
}

// 0, or why there is no lock. Holders share it, so that one may open its file twice; who asks
// whether it is free for a writer sees them. A file system that knows no locks is no reason to
// refuse the file; any other failure is one: without its lock a file in use counts as a leftover.
uint32_t takeLock(int descriptor, bool read) {
  struct flock lock = {};
  lock.l_type = static_cast<short>(read ? F_RDLCK : F_WRLCK);
  lock.l_whence = SEEK_SET;
  while (fcntl(descriptor, F_OFD_SETLK, &lock) != 0) {
    if (errno == EINTR) continue;
    if (errno == EAGAIN || errno == EACCES) return eOsAccessDenied;
    return knowsNoLocks(errno) ? 0 : osErrorOf(errno);
  }
  return 0;
}

// 0, or why the open file is not the one that the name stands for.
uint32_t checkName(const std::string& path, const FileOpening& how, const struct stat& opened) {
  struct stat named;
  int flags = how.noLink ? AT_SYMLINK_NOFOLLOW : 0;
  if (fstatat(AT_FDCWD, path.c_str(), &named, flags) != 0)
    return errno == ENOENT ? kExchanged : osErrorOf(errno);
  return named.st_dev == opened.st_dev && named.st_ino == opened.st_ino ? 0 : kExchanged;
}

// Who may not change the owner leaves it as it is.
void takeFolderGroup(int descriptor, const std::string& path) {
  size_t slash = path.rfind('/');
  std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  struct stat status;
  if (stat(folder.c_str(), &status) != 0) return;
  if (fchown(descriptor, geteuid(), status.st_gid) != 0) [[maybe_unused]]
    int groupAlone = fchown(descriptor, static_cast<uid_t>(-1), status.st_gid);
}

// 0, or why the file cannot be used as it was asked for.
uint32_t prepare(int descriptor, const std::string& path, const FileOpening& how) {
  struct stat status;
  if (fstat(descriptor, &status) != 0) return osErrorOf(errno);
  if (uint32_t error = checkKind(status)) return error;
  // It was there to keep the open from blocking; a transfer that may not wait is no use to anybody.
  int flags = fcntl(descriptor, F_GETFL);
  if (flags < 0 || fcntl(descriptor, F_SETFL, flags & ~O_NONBLOCK) != 0) return osErrorOf(errno);
  if (how.holdLock) {
    if (uint32_t error = takeLock(descriptor, how.read)) return error;
    // Whoever had the lock before may have deleted the file, and others may have made a new one.
    if (uint32_t error = checkName(path, how, status)) return error;
  }
  if (how.empty && ftruncate(descriptor, 0) != 0) return osErrorOf(errno);
  // An empty file counts as new: a probe may have made it a moment ago.
  if (how.setOwner && status.st_size == 0) takeFolderGroup(descriptor, path);
  return 0;
}

// 0 and the open file, or why there is none.
uint32_t openOnce(const std::string& path, const FileOpening& how, Qv::Ptr<OpenDescriptors>& file) {
  int descriptor = openByName(path, how);
  if (descriptor < 0) return openingError(errno, how);
  Qv::Ptr<OpenDescriptors> opened(new (std::nothrow)
                                      OpenDescriptors(descriptor, how.read, how.write));
  if (!opened) {
    close(descriptor);
    return eOsNoMemory;
  }
  if (uint32_t error = prepare(descriptor, path, how)) return error;
  if (how.direct) opened->openDirect();
  // Who holds a lock holds it for long, and lets go of it wherever he is.
  if (how.async || how.holdLock) opened->askFileSystem();
  file = opened;
  return 0;
}

}  // namespace

Qv::Ptr<OpenDescriptors> openRegularFile(const std::string& path, const FileOpening& how) {
  Qv::Ptr<OpenDescriptors> file;
  uint32_t error = kExchanged;
  for (unsigned i = 0; i < kMostOpenings && error == kExchanged; ++i)
    error = openOnce(path, how, file);
  if (error != 0) failWith(error == kExchanged ? uint32_t{eOsAccessDenied} : error);
  return file;
}

int openFolder(const std::string& path) {
  return openAgain(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
}
