#include "platform/linux/MountTable.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <filesystem>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "platform/DriveErrand.h"
#include "platform/linux/AutomountVisit.h"
#include "platform/linux/TableReader.h"

namespace {

constexpr char kTableFile[] = "/proc/self/mountinfo";
constexpr char kNamespaceFile[] = "/proc/self/ns/mnt";

// Which of the system's lists of mounts is this process's.
ino_t ownNamespace() {
  struct stat status;
  return stat(kNamespaceFile, &status) == 0 ? status.st_ino : 0;
}

// False, and `error` set, when the current folder is not known.
bool toWhole(const std::string& path, std::string& whole, int& error) {
  error = ENOENT;
  whole = path;
  if (path.empty()) return false;
  if (path.front() == '/') return true;
  std::error_code failed;
  whole = (std::filesystem::current_path(failed) / path).string();
  error = failed.value();
  return !failed;
}

// Adds names to a path without "." and "..", and does not leave it upwards.
void addNames(std::string& path, std::string_view names) {
  size_t floor = path.size();
  while (!names.empty()) {
    std::string_view name = names.substr(0, names.find('/'));
    names.remove_prefix(std::min(names.size(), name.size() + 1));
    if (name == "..")
      path.erase(std::max(floor, std::min(path.size(), path.rfind('/'))));
    else if (!name.empty() && name != ".")
      path.append("/").append(name);
  }
}

}  // namespace

Qv::Ptr<iDiskDrive> MountTable::find(const std::string& path, int& error) {
  std::string whole;
  if (!toWhole(path, whole, error)) return nullptr;
  auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(kDrivePatience_ms);
  Qv::Ptr<MountTree> tree = latest();
  MountTree::Found found = tree->find(whole, MountTree::eStayOutside, error);
  for (unsigned i = 0; i < kMostAutomounts && found.mount && found.mount->isAutomount; ++i) {
    Qv::Ptr<DriveProbe> probe = found.mount->probe;
    Qv::Ptr<AutomountVisit> visit(new AutomountVisit(tree, whole));
    uint32_t result = probe->wait(probe->hand(visit), deadline);
    if (result != 1) {
      error = result == eOsNoMemory ? ENOMEM : ETIMEDOUT;
      return nullptr;
    }
    Qv::Ptr<MountTree> now = latest();
    if (now == tree) {
      found = visit->found();
      error = visit->error();
      break;
    }
    tree = now;
    found = tree->find(whole, MountTree::eStayOutside, error);
  }
  return found.mount ? Qv::Ptr<iDiskDrive>(found.mount->drive) : nullptr;
}

Qv::Ptr<DriveProbe> MountTable::probeOf(const std::string& path) {
  int error = 0;
  std::string whole;
  if (!toWhole(path, whole, error)) return nullptr;
  Qv::Ptr<MountTree> tree = latest();
  MountTree::Found found = tree->find(whole, MountTree::eStayOutside, error);
  return found.mount && found.mount->mayFallSilent() ? found.mount->probe : nullptr;
}

bool MountTable::describe(const std::string& path, MountedAt& at, int& error) {
  std::string whole;
  if (!toWhole(path, whole, error)) return false;
  Qv::Ptr<MountTree> tree = latest();
  MountTree::Found found = tree->find(whole, MountTree::eStayOutside, error);
  if (!found.mount) return false;
  at.mount = found.mount->entry;
  addNames(found.folder, found.missing);
  // Below "/" the first separator is the folder itself.
  size_t folder = at.mount.folder == "/" ? 0 : at.mount.folder.size();
  at.rest = found.folder.substr(std::min(found.folder.size(), folder + 1));
  return true;
}

Qv::Ptr<MountTree> MountTable::latest() {
  MutexLock lock(lock_);
  isStale_ = hasChangedLocked() || isStale_;
  if (isStale_) {
    std::vector<MountEntry> mounts;
    isStale_ = !TableReader().read(mounts);
    if (!isStale_ || !tree_) tree_ = new MountTree(std::move(mounts), tree_.get());
  }
  return tree_;
}

void MountTable::unwatch() {
  // A process that was forked may have the lock of a thread that is not in it.
  if (!lock_.tryLock()) return;
  if (watch_ >= 0 && process_ == getpid()) close(watch_);
  watch_ = -1;
  lock_.unlock();
}

bool MountTable::hasChangedLocked() {
  // A change is told once: to whoever asks first of those who share the descriptor. A forked
  // process leaves it to its parent, and does not close what may be another's by now.
  pid_t own = getpid();
  ino_t mounts = ownNamespace();
  bool isForked = std::exchange(process_, own) != own;
  bool hasMoved = std::exchange(namespace_, mounts) != mounts;
  if (isForked || hasMoved || watch_ < 0) {
    if (!isForked && watch_ >= 0) close(watch_);
    watch_ = open(kTableFile, O_RDONLY | O_CLOEXEC);
    return true;
  }
  pollfd question = {watch_, POLLPRI, 0};
  return poll(&question, 1, 0) != 0;
}
