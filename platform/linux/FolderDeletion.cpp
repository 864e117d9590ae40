#include "platform/linux/FolderDeletion.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cstring>
#include <utility>

namespace {

constexpr int kToPass = O_PATH | O_DIRECTORY | O_CLOEXEC;
constexpr int kToRead = O_RDONLY | O_DIRECTORY | O_CLOEXEC;

}  // namespace

int FolderDeletion::lookAt(int folder, const char* name, int flags, Place& place) {
  struct statx status = {};
  while (statx(folder, name, flags | AT_NO_AUTOMOUNT, STATX_INO | STATX_MNT_ID, &status) != 0)
    if (errno != EINTR) return errno;
  place.drive = uint64_t{status.stx_dev_major} << 32 | status.stx_dev_minor;
  place.mount = status.stx_mnt_id;
  place.number = status.stx_ino;
  return 0;
}

int FolderDeletion::open(int above, const char* name, int flags, Folder& folder) {
  for (;;) {
    int number = openat(above, name, flags);
    if (number < 0 && errno == EINTR) continue;
    if (number < 0) return errno;
    folder.descriptor = Descriptor(number);
    break;
  }
  return lookAt(folder.descriptor.number(), "", AT_EMPTY_PATH, folder.place);
}

// In the open folder, and on its file system.
int FolderDeletion::openBelow(const std::string& name, int flags, Folder& folder) const {
  int error = open(here_.descriptor.number(), name.c_str(), flags | O_NOFOLLOW, folder);
  if (error != 0) return error;
  return folder.place.isBeside(here_.place) ? 0 : EXDEV;
}

// What the folder lies in, when that is still the place. Where it lies in nothing any more, the way
// back is lost as well.
int FolderDeletion::openAbove(const Folder& folder, const Place& place, Folder& above) {
  int error = open(folder.descriptor.number(), "..", kToPass, above);
  if (error == ENOENT || (error == 0 && above.place != place)) return ESTALE;
  return error;
}

int FolderDeletion::remove(int above, const std::vector<std::string>& below,
                           const std::string& whole) {
  Folder top;
  Place named;
  int error = goDown(above, below);
  if (error == 0) error = openBelow(below.back(), kToRead, top);
  if (error == 0) error = lookAt(AT_FDCWD, whole.c_str(), AT_SYMLINK_NOFOLLOW, named);
  if (error == 0 && named != top.place) error = EINVAL;
  if (error != 0) return error;
  levels_.push_back({here_.place, {}, {}});
  begin(std::move(top), below.back());
  empty();
  return error_;
}

// To the folder that holds the last of the names.
int FolderDeletion::goDown(int above, const std::vector<std::string>& below) {
  int error = open(above, ".", kToPass, here_);
  for (size_t i = 0; error == 0 && i + 1 < below.size(); ++i) {
    Folder next;
    error = openBelow(below[i], kToPass, next);
    here_ = std::move(next);
  }
  return error;
}

// Until only the first level is left, or the way back is lost.
void FolderDeletion::empty() {
  while (levels_.size() > 1) {
    std::vector<std::string>& folders = levels_.back().folders;
    if (folders.empty()) {
      leave();
      continue;
    }
    std::string next = std::move(folders.back());
    folders.pop_back();
    enter(next);
  }
}

void FolderDeletion::enter(const std::string& name) {
  Folder folder;
  int error = openBelow(name, kToRead, folder);
  if (error == ENOTDIR) return removeName(name, 0);  // something else has taken its place
  Folder back;
  if (error == 0) error = openAbove(folder, here_.place, back);
  if (error == 0) return begin(std::move(folder), name);
  note(error);
}

// The folder is the open one from now on; what is no folder in it is gone when this returns.
void FolderDeletion::begin(Folder folder, const std::string& name) {
  here_ = std::move(folder);
  levels_.push_back({here_.place, name, {}});
  std::string others;  // one after the other, each with its zero
  int error = names_.forEach(here_.descriptor.number(), [&](std::string_view entry, auto kind) {
    if (kind == DT_DIR)
      levels_.back().folders.emplace_back(entry);
    else
      others.append(entry).push_back('\0');
  });
  note(error);
  // Only now: what is removed while a folder is read may hide other names.
  for (size_t at = 0; at < others.size(); at += std::strlen(&others[at]) + 1)
    removeName(&others[at], 0);
}

void FolderDeletion::leave() {
  std::string name = std::move(levels_.back().name);
  levels_.pop_back();
  Folder above;
  int error = openAbove(here_, levels_.back().place, above);
  note(error);
  if (error != 0) return levels_.clear();
  here_ = std::move(above);
  removeName(name, AT_REMOVEDIR);
}

// From the open folder. What is a folder is entered later.
void FolderDeletion::removeName(const std::string& name, int flags) {
  int error = 0;
  do {
    error = unlinkat(here_.descriptor.number(), name.c_str(), flags) == 0 ? 0 : errno;
  } while (error == EINTR);
  if (error == EISDIR)
    levels_.back().folders.push_back(name);
  else
    note(error);
}

// What is gone already is what was wanted.
void FolderDeletion::note(int error) {
  if (error_ == 0 && error != ENOENT) error_ = error;
}
