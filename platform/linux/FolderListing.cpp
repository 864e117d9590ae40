#include "platform/linux/FolderListing.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <memory>

#include "platform/common/NamePattern.h"
#include "platform/linux/FileOpening.h"

namespace {

using File = iFileManager::ListedFile;

struct CloseFolder {
  void operator()(DIR* folder) const { closedir(folder); }
};
using OpenFolder = std::unique_ptr<DIR, CloseFolder>;

// Null, and errno set, when it cannot be read.
OpenFolder readable(const std::string& path) {
  int descriptor = openFolder(path);
  if (descriptor < 0) return nullptr;
  OpenFolder folder(fdopendir(descriptor));
  if (!folder) close(descriptor);
  return folder;
}

// Where the file system tells the kind with the name.
bool isNoFile(unsigned char kind) { return kind != DT_REG && kind != DT_LNK && kind != DT_UNKNOWN; }

// 0, or the system's error number.
int describe(int folder, const char* name, int flags, struct statx& status) {
  while (statx(folder, name, flags | AT_NO_AUTOMOUNT, STATX_TYPE | STATX_SIZE, &status) != 0)
    if (errno != EINTR) return errno;
  return 0;
}

}  // namespace

FolderListing::FolderListing(const std::string& folder, std::wstring_view pattern)
    : pattern_(pattern), error_(read(folder)) {
  if (error_ != 0) files_.clear();
  std::sort(files_.begin(), files_.end(),
            [](const File& a, const File& b) { return a.name < b.name; });
}

int FolderListing::read(const std::string& folder) {
  OpenFolder opened = readable(folder);
  if (!opened) return errno;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(opened.get());
    if (!entry && errno == 0) return 0;
    if (!entry && errno != EINTR) return errno;
    int error = entry ? take(dirfd(opened.get()), *entry) : 0;
    if (error != 0) return error;
  }
}

// 0, or the system's error number.
int FolderListing::take(int folder, const dirent& entry) {
  if (isNoFile(entry.d_type)) return 0;
  const char* bytes = entry.d_name;
  LightweightString<wchar_t> name = fromUTF8(bytes);
  if (!matchesPattern(name.view(), pattern_)) return 0;
  struct statx status = {};
  if (describe(folder, bytes, 0, status) != 0) {
    // A link that leads nowhere is no file; anything else is, and should have been told about.
    int error = describe(folder, bytes, AT_SYMLINK_NOFOLLOW, status);
    if (error == 0 && S_ISLNK(status.stx_mode)) return 0;
    if (error != 0) return error == ENOENT ? 0 : error;
  }
  if (S_ISREG(status.stx_mode)) files_.add({name, status.stx_size});
  return 0;
}
