#include "bench/table/Caches.h"

#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <optional>

#include "bench/table/Descriptor.h"
#include "bench/table/OpenFile.h"

namespace {

// The kernel's call and its structures; the C library has no name for them.
constexpr long kCacheStat = 451;
struct CacheStatRange {
  uint64_t offset, length;  // 0, 0: all of the file
};
struct CacheStat {
  uint64_t cached, dirty, writeback, evicted, recentlyEvicted;
};

std::optional<uint64_t> pagesOf(const Descriptor& file) {
  CacheStatRange all = {0, 0};
  CacheStat answer = {};
  if (syscall(kCacheStat, file.get(), &all, &answer, 0) != 0) return std::nullopt;
  return answer.cached;
}

constexpr const char* kPages = "1";
constexpr const char* kEverything = "3";

bool dropAll(const char* what) {
  Descriptor file(open("/proc/sys/vm/drop_caches", O_WRONLY | O_CLOEXEC));
  return file.isOpen() && write(file.get(), what, 1) == 1;
}

// Advises, and counts what is left.
std::optional<uint64_t> advise(const std::vector<Descriptor>& files) {
  std::optional<uint64_t> left = 0;
  for (const Descriptor& file : files) {
    (void)posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
    std::optional<uint64_t> pages = pagesOf(file);
    left = left && pages ? std::optional<uint64_t>(*left + *pages) : std::nullopt;
  }
  return left;
}

}  // namespace

void Caches::drop(const std::vector<Workload::File>& files) {
  std::vector<Descriptor> opened;
  for (const Workload::File& file : files) opened.push_back(OpenFile::cached(file.path, O_RDONLY));
  std::optional<uint64_t> left = advise(opened);
  if (left.value_or(0) > 0 && dropAll(kPages)) {
    ++everything_;
    left = advise(opened);
  }
  ++drops_;
  isAsked_ = isAsked_ && left;
  mostLeft_ = std::max(mostLeft_, left.value_or(0));
}

bool Caches::dropEverything() { return dropAll(kEverything); }

std::string Caches::whatWasDone() const {
  if (drops_ == 0) return "not dropped: nothing was read from the disk";
  std::string text = "dropped before each round of each reading side (posix_fadvise";
  if (everything_ > 0) text += ", " + std::to_string(everything_) + " times drop_caches too";
  text += ", " + std::to_string(drops_) + " times); ";
  if (!isAsked_) return text + "how many pages stayed the system does not tell";
  return text + "pages that stayed: " + std::to_string(mostLeft_) + " at most";
}
