#include "platform/linux/PositionalTransfer.h"

#include <sched.h>
#include <unistd.h>

#include <cerrno>

void carryOut(FileTransfer& transfer) {
  int64_t outcome = 0;
  do {
    if (transfer.mustWait()) sched_yield();
    const FileTransfer::Part& part = transfer.nextPart();
    off_t offset = static_cast<off_t>(part.offset);
    outcome = transfer.direction() == FileTransfer::eRead
                  ? pread(part.descriptor, part.address, part.bytes, offset)
                  : pwrite(part.descriptor, part.address, part.bytes, offset);
    if (outcome < 0) outcome = -errno;
  } while (!transfer.take(outcome));
}
