#include "platform/linux/SpaceQuestion.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statvfs.h>

#include <cerrno>

namespace {

uint64_t bytesOf(uint64_t blocks, uint64_t blockBytes) {
  uint64_t bytes = 0;
  return __builtin_mul_overflow(blocks, blockBytes, &bytes) ? UINT64_MAX : bytes;
}

}  // namespace

void SpaceQuestion::run() { error_ = ask(); }

int SpaceQuestion::ask() {
  // What the file system has of the folder itself does not matter: it need not be asked.
  constexpr int kAsItIs = AT_NO_AUTOMOUNT | AT_STATX_DONT_SYNC;
  struct statx here = {};
  if (statx(AT_FDCWD, folder_.c_str(), kAsItIs, STATX_MNT_ID, &here) != 0) return errno;
  if ((here.stx_mask & STATX_MNT_ID) != 0 && here.stx_mnt_id != mount_) return ENOENT;
  struct statvfs answer = {};
  if (statvfs(folder_.c_str(), &answer) != 0) return errno;
  freeBytes_ = bytesOf(answer.f_bavail, answer.f_frsize);
  totalBytes_ = bytesOf(answer.f_blocks, answer.f_frsize);
  return 0;
}
