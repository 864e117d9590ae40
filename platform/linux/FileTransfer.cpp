#include "platform/linux/FileTransfer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <limits>

#include "platform/Check.h"
#include "platform/OsErrors.h"

FileTransfer::FileTransfer(eDirection direction, OpenDescriptors* descriptors, uint64_t offset,
                           void* buffer, uint32_t bytes)
    : descriptors_(descriptors),
      offset_(offset),
      buffer_(static_cast<unsigned char*>(buffer)),
      bytes_(bytes),
      direction_(direction) {}

uint32_t FileTransfer::check(eDirection direction, const OpenDescriptors& descriptors,
                             uint64_t offset, const void* buffer, uint32_t bytes) {
  constexpr uint64_t kLastOffset = std::numeric_limits<int64_t>::max();
  if (offset > kLastOffset || bytes > kLastOffset - offset) return eOsInvalid;
  if (!buffer && bytes != 0) return eOsInvalid;
  bool allowed = direction == eRead ? descriptors.readable() : descriptors.writable();
  return allowed ? 0 : uint32_t{eOsAccessDenied};
}

const FileTransfer::Part& FileTransfer::nextPart() {
  part_.offset = offset_ + done_;
  part_.address = buffer_ + done_;
  part_.bytes = std::min(bytes_ - done_, kLargestPart);
  part_.direct =
      mayGoDirect_ && descriptors_->takesDirect(part_.address, part_.offset, part_.bytes);
  part_.descriptor = part_.direct ? descriptors_->direct() : descriptors_->cached();
  return part_;
}

bool FileTransfer::take(int64_t outcome) {
  if (outcome < 0) return takeFailure(static_cast<int>(-outcome));
  FSYS_INVARIANT(outcome <= part_.bytes);
  mustWait_ = false;
  done_ += static_cast<uint32_t>(outcome);
  if (done_ == bytes_) return end(0);
  if (outcome > 0) return false;
  // Nothing was moved: the end of the file for a read. A write that moves nothing and gives no
  // reason would be tried for ever.
  return end(direction_ == eRead ? 0 : EIO);
}

bool FileTransfer::takeFailure(int error) {
  if (error == EINTR) return false;
  if (error == EAGAIN) {
    mustWait_ = true;
    return false;
  }
  if (error == EINVAL && part_.direct) {
    descriptors_->giveUpDirect();
    return false;
  }
  return end(error);
}

bool FileTransfer::end(int error) {
  error_ = error;
  // After EFAULT the buffer is not ours to touch.
  if (direction_ == eRead && done_ < bytes_ && error != EFAULT)
    std::memset(buffer_ + done_, 0, bytes_ - done_);
  return true;
}
