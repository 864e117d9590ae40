#include "tools/fsys/DirectIoProbe.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/OS.h"

namespace {

constexpr size_t kProbeBytes = 4096;

std::string describe(int error) {
  return OS()->getErrors()->describe(eOsErrorBase + static_cast<uint32_t>(error));
}

void askAlignment(int descriptor, DirectIoProbe& probe) {
#ifdef STATX_DIOALIGN
  struct statx found = {};
  if (::statx(descriptor, "", AT_EMPTY_PATH, STATX_DIOALIGN, &found) != 0) return;
  if ((found.stx_mask & STATX_DIOALIGN) == 0) return;
  probe.memoryAlignment = found.stx_dio_mem_align;
  probe.offsetAlignment = found.stx_dio_offset_align;
#else
  (void)descriptor;
  (void)probe;
#endif
}

}  // namespace

DirectIoProbe DirectIoProbe::of(const std::string& path, bool isFolder) {
  DirectIoProbe probe;
  int flags = O_DIRECT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK;
  int descriptor = isFolder ? ::open(path.c_str(), O_TMPFILE | O_RDWR | flags, 0600)
                            : ::open(path.c_str(), O_RDONLY | flags);
  if (descriptor < 0) {
    // EINVAL is how a file system says that it has no direct transfers.
    probe.tried = errno == EINVAL;
    probe.why = describe(errno);
    return probe;
  }
  askAlignment(descriptor, probe);
  alignas(kProbeBytes) static unsigned char bytes[kProbeBytes];
  ssize_t done = isFolder ? ::pwrite(descriptor, bytes, sizeof bytes, 0)
                          : ::pread(descriptor, bytes, sizeof bytes, 0);
  probe.tried = true;
  probe.works = done >= 0;
  if (done < 0) probe.why = describe(errno);
  ::close(descriptor);
  return probe;
}
