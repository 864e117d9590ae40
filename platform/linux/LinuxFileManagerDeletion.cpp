// How the file manager deletes media: all in one folder, which it opens once.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <iterator>
#include <new>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/common/FolderBelow.h"
#include "platform/linux/Descriptor.h"
#include "platform/linux/FolderDeletion.h"
#include "platform/linux/FolderListing.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/LinuxFileManager.h"

namespace {

using Path = LightweightString<wchar_t>;

constexpr int kToHold = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int kToList = O_RDONLY | O_DIRECTORY | O_CLOEXEC;
constexpr int kToLook = O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;
constexpr uint32_t kIsGone = 1;

bool failed(int error) {
  failWithErrno(error);
  return false;
}

// 0, or the system's error number.
int openIn(int folder, const std::string& name, int flags, Descriptor& opened) {
  for (;;) {
    int number = openat(folder, name.c_str(), flags);
    if (number < 0 && errno == EINTR) continue;
    if (number < 0) return errno;
    opened = Descriptor(number);
    return 0;
  }
}

// 0, or the system's error number.
int removeFrom(int folder, const std::string& name) {
  while (unlinkat(folder, name.c_str(), 0) != 0)
    if (errno != EINTR) return errno;
  return 0;
}

// 0: it is so. EINVAL: it is not; or another error number. Some file systems answer in pieces.
int compareStart(int file, const std::string& start) {
  std::string found(start.size(), '\0');
  for (size_t done = 0; done < found.size();) {
    ssize_t bytes = pread(file, found.data() + done, found.size() - done, static_cast<off_t>(done));
    if (bytes < 0 && errno == EINTR) continue;
    if (bytes < 0) return errno;
    if (bytes == 0) return EINVAL;
    done += static_cast<size_t>(bytes);
  }
  return found == start ? 0 : EINVAL;
}

// 0: the file begins so. EINVAL: it does not; ELOOP: it is a symbolic link; or another error
// number. A fifo or a device is not read.
int lookAtStart(int folder, const std::string& name, const std::string& start) {
  Descriptor file;
  struct stat status = {};
  if (int error = openIn(folder, name, kToLook, file))
    return error == ENXIO || error == ENODEV ? EINVAL : error;  // a socket, or a device without one
  if (fstat(file.number(), &status) != 0) return errno;
  if (!S_ISREG(status.st_mode)) return EINVAL;
  return compareStart(file.number(), start);
}

// 1, or the first OsError. What is gone already is what was wanted.
uint32_t deleteSideFiles(int held, std::wstring_view pattern) try {
  Descriptor folder;
  if (int error = openIn(held, ".", kToList, folder)) return osErrorOf(error);
  FolderListing listing(folder.number(), pattern);
  int first = listing.error();
  for (const iFileManager::ListedFile& file : listing.files()) {
    std::string name;
    (void)toPathBytes(file.name, name);  // it was made of bytes
    int error = removeFrom(held, name);
    if (first == 0 && error != ENOENT) first = error;
  }
  return first == 0 ? kIsGone : osErrorOf(first);
} catch (const std::bad_alloc&) {
  return eOsNoMemory;
}

// The folder of a path, and the file's name in it, to which separators at its end belong.
std::pair<std::string, std::string> split(const std::string& path) {
  size_t end = path.find_last_not_of('/');
  size_t start = end == path.npos ? 0 : path.rfind('/', end) + 1;
  return {start == 0 ? "." : path.substr(0, start), path.substr(start)};
}

}  // namespace

// 1, or the first OsError.
uint32_t LinuxFileManager::deleteSubfolder(int held, const MediaRemoval& media) const try {
  std::string whole;
  if (!toPathBytes(media.subfolder, whole)) return eOsInvalid;
  if (isServed(media.subfolder)) return eOsNotSupported;
  std::wstring_view folder = media.path.view();
  folder = folder.substr(0, folder.rfind(getSeparator()) + 1);
  std::vector<std::string> below;
  for (const Path& name : namesBelow(folder, media.subfolder.view(), getSeparator()))
    if (!toPathBytes(name, below.emplace_back())) return eOsInvalid;
  if (below.empty()) return eOsInvalid;
  int error = FolderDeletion().remove(held, below, whole);
  return error == 0 ? kIsGone : osErrorOf(error);
} catch (const std::bad_alloc&) {
  return eOsNoMemory;
}

bool LinuxFileManager::deleteMedia(const MediaRemoval& media, MediaLeft& left) try {
  left = MediaLeft();
  if (isServed(media.path)) {
    if (!media.subfolder.empty()) left.subfolder = eOsNotSupported;
    if (!media.sideFiles.empty()) left.sideFiles = eOsNotSupported;
    return deleteFile(media.path);
  }
  std::string path;
  if (!bytesOf(media.path, path)) return false;
  auto [folder, name] = split(path);
  Descriptor held;
  if (int error = openIn(AT_FDCWD, folder, kToHold, held)) return failed(error);
  if (!media.subfolder.empty()) {
    int error = lookAtStart(held.number(), name, media.start);
    if (error != 0 && error != ELOOP) return failed(error);
    left.subfolder = error == 0 ? deleteSubfolder(held.number(), media) : uint32_t{eOsInvalid};
  }
  int error = removeFrom(held.number(), name);
  if (!media.sideFiles.empty())
    left.sideFiles = deleteSideFiles(held.number(), media.sideFiles.view());
  return error == 0 || failed(error);
} catch (const std::bad_alloc&) {
  return failed(ENOMEM);
}
