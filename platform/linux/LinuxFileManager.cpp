#include "platform/linux/LinuxFileManager.h"

#include <sys/stat.h>
#include <unistd.h>

#include <string>

#include "platform/linux/FileOpening.h"
#include "platform/linux/LinuxFailure.h"
#include "platform/linux/LinuxFile.h"
#include "platform/linux/ProbedFile.h"

namespace {

using Path = LightweightString<wchar_t>;

constexpr mode_t kNewFolderMode = 0777;  // less the process's mask

// False for a number that is none of iFileManager::Creation.
bool setCreation(unsigned creation, FileOpening& how) {
  switch (creation) {
    case iFileManager::eOpenExisting:
      how.create = FileOpening::eNever;
      return true;
    case iFileManager::eCreateNew:
      how.create = FileOpening::eOnlyIfMissing;
      return true;
    case iFileManager::eCreateOrReplace:
      how.create = FileOpening::eIfMissing;
      how.empty = true;
      return true;
    case iFileManager::eOpenOrCreate:
      how.create = FileOpening::eIfMissing;
      return true;
    default:
      return false;
  }
}

// Makes one folder; one that is there already will do.
bool makeFolder(const std::string& path) {
  if (mkdir(path.c_str(), kNewFolderMode) == 0) return true;
  int error = errno;
  struct stat status;
  bool isSeen = stat(path.c_str(), &status) == 0;
  if (isSeen && S_ISDIR(status.st_mode)) return true;
  // What cannot be looked at is not known to be in the way; a link to nothing is.
  if (!isSeen && error == EEXIST && errno != ENOENT) error = errno;
  failWithErrno(error);
  return false;
}

// The library may be unloaded and loaded again, many times in the life of a process.
struct Unloading {
  LinuxFileManager* manager = nullptr;
  ~Unloading() {
    if (manager) manager->letGo();
  }
};
constinit Unloading unloading;

}  // namespace

Qv::Ptr<iFile> LinuxFileManager::openMedia(const Path& path, unsigned flags, bool write,
                                           unsigned disposition, unsigned mode) {
  std::string bytes;
  if (disposition != eOpenOrCreateNeverTruncate) {
    failWith(eOsInvalid);
    return nullptr;
  }
  if (!bytesOf(path, bytes)) return nullptr;
  FileOpening how;
  how.write = write;
  how.read = !write || (flags & eFlagRead) != 0;
  how.create = write ? FileOpening::eIfMissing : FileOpening::eNever;
  how.setOwner = write && (mode & eModeSetOwner) != 0;
  how.direct = (mode & eModeDirect) != 0;
  how.async = (mode & eModeAsync) != 0;
  Qv::Ptr<OpenDescriptors> descriptors = openRegularFile(bytes, how);
  if (!descriptors) return nullptr;
  unsigned capabilities = mode == 0 || (mode & eModeAsync) ? iFile::eAsyncTransfers : 0u;
  // Only where no server and no program can keep the caller waiting.
  if (how.async && !descriptors->startingWaits()) capabilities |= iFile::eTransfersByCaller;
  Qv::Ptr<LinuxFile> file(new LinuxFile(descriptors, capabilities));
  if (mode != 0) return file;
  return Qv::Ptr<iFile>(new ProbedFile(file->getSize(), capabilities));
}

Qv::Ptr<iFile> LinuxFileManager::openFile(const Path& path, unsigned access, unsigned creation,
                                          unsigned, unsigned attributes) {
  std::string bytes;
  FileOpening how;
  how.read = (access & eAccessRead) != 0;
  how.write = (access & eAccessWrite) != 0;
  how.holdLock = (attributes & eAttributeHoldLock) != 0;
  how.noLink = how.holdLock;
  bool isKnown = (access & ~unsigned{eAccessReadWrite}) == 0 && (how.read || how.write);
  // What is to be cut off must be writable.
  isKnown = isKnown && setCreation(creation, how) && (how.write || !how.empty);
  if (!isKnown) {
    failWith(eOsInvalid);
    return nullptr;
  }
  if (!bytesOf(path, bytes)) return nullptr;
  Qv::Ptr<OpenDescriptors> descriptors = openRegularFile(bytes, how);
  return descriptors ? Qv::Ptr<iFile>(new LinuxFile(descriptors, 0)) : nullptr;
}

bool LinuxFileManager::isServed(const Path& path) const { return providers_.isServed(path); }

Qv::Ptr<iFile> LinuxFileManager::openServed(const Path& path, unsigned flags, bool write) {
  return providers_.open(path, flags, write);
}

void LinuxFileManager::registerProvider(const Path& prefix,
                                        const Qv::Ptr<iFileProvider>& provider) {
  providers_.set(prefix, provider);
}

bool LinuxFileManager::exists(const Path& path) {
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path))
    return static_cast<bool>(provider->open(path, eFlagRead, false));
  std::string bytes;
  struct stat status;
  return bytesOf(path, bytes) && succeeded(stat(bytes.c_str(), &status));
}

bool LinuxFileManager::getFileSize(const Path& path, uint64_t& bytes) {
  bytes = 0;
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path)) {
    Qv::Ptr<iFile> file = provider->open(path, eFlagRead, false);
    if (file) bytes = file->getSize();
    return static_cast<bool>(file);
  }
  std::string name;
  struct stat status;
  if (!bytesOf(path, name) || !succeeded(stat(name.c_str(), &status))) return false;
  if (!S_ISREG(status.st_mode)) {
    failWith(S_ISDIR(status.st_mode) ? eOsIsAFolder : eOsNotSupported);
    return false;
  }
  bytes = static_cast<uint64_t>(status.st_size);
  return true;
}

bool LinuxFileManager::deleteFile(const Path& path) {
  if (Qv::Ptr<iFileProvider> provider = providers_.find(path)) return provider->remove(path);
  std::string bytes;
  return bytesOf(path, bytes) && succeeded(unlink(bytes.c_str()));
}

bool LinuxFileManager::createFolder(const Path& path) {
  std::string bytes;
  if (!bytesOf(path, bytes)) return false;
  for (size_t slash = bytes.find('/', 1); slash != std::string::npos;
       slash = bytes.find('/', slash + 1)) {
    if (!makeFolder(bytes.substr(0, slash))) return false;
  }
  return makeFolder(bytes);
}

iFileManager* linuxFileManager() {
  // Never destroyed: files are opened and deleted while the process ends.
  static LinuxFileManager& manager = *(unloading.manager = new LinuxFileManager);
  return &manager;
}
