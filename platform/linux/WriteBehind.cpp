#include "platform/linux/WriteBehind.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>

void WriteBehind::wrote(int descriptor, uint64_t offset, uint32_t bytes) {
  if (bytes == 0) return;
  uint64_t begin;
  uint64_t end;
  {
    MutexLock lock(lock_);
    unsettled_ = true;
    if (begin_ == end_) begin_ = end_ = offset;
    begin_ = std::min(begin_, offset);
    end_ = std::max(end_, offset + bytes);
    if (end_ - begin_ < kBegin_bytes) return;
    begin = begin_;
    end = end_;
    begin_ = end_ = 0;
  }
  // Nothing depends on it: what could not be begun is written later all the same.
  sync_file_range(descriptor, static_cast<off64_t>(begin), static_cast<off64_t>(end - begin),
                  SYNC_FILE_RANGE_WRITE);
}

int WriteBehind::settle(int descriptor) {
  {
    MutexLock lock(lock_);
    if (!unsettled_) return 0;
    unsettled_ = false;
    begin_ = end_ = 0;
  }
  constexpr unsigned kAll =
      SYNC_FILE_RANGE_WAIT_BEFORE | SYNC_FILE_RANGE_WRITE | SYNC_FILE_RANGE_WAIT_AFTER;
  int result;
  do {
    result = sync_file_range(descriptor, 0, 0, kAll);
  } while (result != 0 && errno == EINTR);
  return result == 0 ? 0 : errno;
}
