#pragma once

#include <dirent.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>
#include <cstddef>
#include <memory>
#include <string_view>

// FolderNames: reads the names of open folders, many with one system call.
// Threads    one at a time.
// Errors     0, or the system's error number.
class FolderNames {
public:
  // Calls take(name, kind) for each entry from the descriptor's position on, save the folder itself
  // and the one above; `kind` is a DT_ constant. The name is good until take returns.
  template <typename Take>
  int forEach(int folder, Take take) {
    for (;;) {
      long bytes = syscall(SYS_getdents64, folder, buffer_.get(), kBuffer_bytes);
      if (bytes < 0 && errno == EINTR) continue;
      // A folder that was removed meanwhile holds nothing.
      if (bytes <= 0) return bytes < 0 && errno != ENOENT ? errno : 0;
      for (long at = 0; at < bytes;) {
        const auto* entry = reinterpret_cast<const dirent64*>(buffer_.get() + at);
        at += entry->d_reclen;
        std::string_view name(entry->d_name);
        if (name != "." && name != "..") take(name, entry->d_type);
      }
    }
  }

private:
  static constexpr size_t kBuffer_bytes = 256 * 1024;

  std::unique_ptr<char[]> buffer_ = std::make_unique_for_overwrite<char[]>(kBuffer_bytes);
};
