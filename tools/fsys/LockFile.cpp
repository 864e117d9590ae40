#include "tools/fsys/LockFile.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <utility>

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr int64_t kNsPerSecond = 1000000000;

LockFile unknown(LockFile file, std::string why) {
  file.state = LockFile::eUnknown;
  file.why = std::move(why);
  return file;
}

LockFile failed(LockFile file, uint32_t error) {
  file.error = error;
  return unknown(std::move(file), OS()->getErrors()->describe(error));
}

// Of a regular file.
LockFile withState(LockFile file, const PathString& path, bool isOwn) {
  iFileManager::LockState lock = iFileManager::eLockUnknown;
  if (!OS()->getFileManager()->askLock(path, lock)) {
    uint32_t error = OS()->getErrors()->getLastError();
    bool isGone = error == eOsNotFound && LockFile::find(path).state == LockFile::eMissing;
    return isGone ? LockFile() : failed(std::move(file), error);
  }
  if (lock == iFileManager::eLockUnknown)
    return unknown(std::move(file), "its drive knows no locks");
  if (lock == iFileManager::eLockFreeHere && !isOwn)
    return unknown(std::move(file), "its drive tells nothing of other machines' locks");
  file.state = lock == iFileManager::eLockHeld ? LockFile::eLive : LockFile::eStale;
  return file;
}

}  // namespace

LockFile LockFile::find(const PathString& path) {
  LockFile file;
  struct stat found = {};
  if (::lstat(bytesOf(path).c_str(), &found) != 0) {
    return errno == ENOENT ? file : failed(file, eOsErrorBase + static_cast<uint32_t>(errno));
  }
  file.changed_ns = found.st_mtim.tv_sec * kNsPerSecond + found.st_mtim.tv_nsec;
  file.device = found.st_dev;
  file.inode = found.st_ino;
  file.state = S_ISREG(found.st_mode) ? eUnknown : eNoFile;
  return file;
}

LockFile LockFile::look(const PathString& path, bool isOwn) {
  LockFile file = find(path);
  return file.isSeen() && file.state == eUnknown ? withState(file, path, isOwn) : file;
}

const char* LockFile::stateName() const {
  if (state == eLive) return "live";
  return state == eStale ? "stale" : "unknown";
}

int64_t LockFile::age_s() const {
  timespec now = {};
  clock_gettime(CLOCK_REALTIME, &now);
  int64_t age_ns = now.tv_sec * kNsPerSecond + now.tv_nsec - changed_ns;
  return std::max<int64_t>(age_ns / kNsPerSecond, 0);
}

PathString LoginFolder::of(const char* doing, const std::string& word) {
  if (isNetworkName(word))
    throw ToolError(ExitCode::eUsage, doing, word, "a network's name is no folder here");
  PathString folder = absolutePath(word, kNetLoginPatience_ms);
  requireFolder(doing, folder, kNetLoginPatience_ms);
  return folder;
}

PathString LoginFolder::ownLockFile(const char* doing, const PathString& folder) {
  std::string name = bytesOf(OS()->getSystemInfo()->getWorkstationName());
  if (name.empty() || name.find('/') != std::string::npos)
    throw ToolError(ExitCode::eOther, doing, bytesOf(folder),
                    "this workstation is called " + inQuotes(name) + ", which is no file's name");
  return getNetLoginLockFileName(folder);
}
