#include "platform/linux/OpenDescriptors.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <string>

namespace {

constexpr long kXfsMagic = 0x58465342;  // the system's header does not name it
constexpr std::array<long, 6> kNeverWait = {EXT4_SUPER_MAGIC, kXfsMagic,   BTRFS_SUPER_MAGIC,
                                            F2FS_SUPER_MAGIC, TMPFS_MAGIC, RAMFS_MAGIC};

// What the system says of a file; false when it says that the file takes no direct transfers.
bool askAlignment(int descriptor, OpenDescriptors::Alignment& alignment) {
  struct statx answer = {};
  if (statx(descriptor, "", AT_EMPTY_PATH, STATX_DIOALIGN, &answer) != 0) return true;
  if (!(answer.stx_mask & STATX_DIOALIGN)) return true;
  if (answer.stx_dio_mem_align == 0 || answer.stx_dio_offset_align == 0) return false;
  alignment.address = answer.stx_dio_mem_align;
  alignment.offset = answer.stx_dio_offset_align;
  return true;
}

}  // namespace

OpenDescriptors::OpenDescriptors(int cached, bool readable, bool writable)
    : cached_(cached), readable_(readable), writable_(writable) {}

OpenDescriptors::~OpenDescriptors() {
  if (closing_) {
    closing_->begin(direct_, cached_);
    return;
  }
  if (direct_ >= 0) close(direct_);
  if (cached_ >= 0) close(cached_);
}

void OpenDescriptors::openDirect() {
  int access = readable_ ? (writable_ ? O_RDWR : O_RDONLY) : O_WRONLY;
  // By the first descriptor, not by the name: the name may stand for another file by now.
  std::string same = "/proc/self/fd/" + std::to_string(cached_);
  direct_ = open(same.c_str(), access | O_DIRECT | O_CLOEXEC | O_NOCTTY);
  if (direct_ < 0) return;
  usesDirect_.store(askAlignment(direct_, alignment_), std::memory_order_relaxed);
}

void OpenDescriptors::askFileSystem() {
  struct statfs answer;
  bool isKnown = fstatfs(cached_, &answer) == 0;
  startingWaits_ = !isKnown || std::find(kNeverWait.begin(), kNeverWait.end(), answer.f_type) ==
                                   kNeverWait.end();
  ringsMisplace_ = !isKnown || answer.f_type == FUSE_SUPER_MAGIC;
  if (startingWaits_) closing_ = Qv::Ptr<SlowClose>(new SlowClose);
}

bool OpenDescriptors::takesDirect(const void* address, uint64_t offset, uint32_t bytes) const {
  if (!usesDirect()) return false;
  return reinterpret_cast<uintptr_t>(address) % alignment_.address == 0 &&
         offset % alignment_.offset == 0 && bytes % alignment_.offset == 0;
}
