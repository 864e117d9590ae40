#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "platform/OsMemory.h"
#include "platform/common/Mutex.h"
#include "platform/linux/PageBins.h"
#include "platform/linux/PageSlab.h"
#include "platform/linux/PageSlabMap.h"

// LinuxVirtualMemory: regions cut from slabs of huge pages.
// Story      A freed region first waits, whole, among the recent ones: the next region of its size
//            takes the newest of them, whose pages are warmest. A region of another size has all
//            recent ones merged with their free neighbours before it is cut from the smallest
//            extent that fits. A slab is mapped only when none does. When more than the limit is
//            kept, whole idle slabs go back to the system: those of large regions first, then the
//            longest idle.
// Threads    any. lock_ is held for some list work; no system call is made under it.
// Ownership  slabs live until they are given back. The object is never destroyed with regions out.
// Units      bytes outside, pages inside.
class LinuxVirtualMemory final : public iVirtualMemory {
public:
  static constexpr uint64_t kKeepBytes = 256 * 1024 * 1024;
  static constexpr size_t kMaxRegionBytes = size_t{1} << 40;

  explicit constexpr LinuxVirtualMemory(uint64_t keepLimit) : keepLimit_(keepLimit) {}

  void* allocate(void* hint, size_t bytes, unsigned type, unsigned protection) override;
  bool free(void* address, size_t bytes, unsigned type) override;
  Figures figures() const override;

private:
  // Regions that wait to be used again as they are.
  static constexpr size_t kRecent = 32;

  void* allocateKept(uint32_t pages);
  PageTag* takeRecentLocked(uint32_t pages) REQUIRES(lock_);
  PageTag* cutLocked(uint32_t pages) REQUIRES(lock_);
  unsigned char* giveLocked(PageTag* region) REQUIRES(lock_);
  bool addSlabLocked(PageSlab* slab) REQUIRES(lock_);
  PageTag* regionAtLocked(void* address) REQUIRES(lock_);
  void makeRecentLocked(PageTag* region) REQUIRES(lock_);
  void mergeRecentLocked() REQUIRES(lock_);
  void mergeLocked(PageTag* region) REQUIRES(lock_);
  void putFreeLocked(PageSlab* slab, PageTag* first, uint32_t pages) REQUIRES(lock_);
  void removeFreeLocked(PageTag* extent) REQUIRES(lock_);
  PageSlab* takeSurplusLocked() REQUIRES(lock_);
  void linkIdleLocked(PageSlab* slab) REQUIRES(lock_);
  void unlinkIdleLocked(PageSlab* slab) REQUIRES(lock_);
  uint64_t keptBytesLocked() const REQUIRES(lock_) { return mappedBytes_ - usedBytes_; }

  const uint64_t keepLimit_;
  mutable Mutex lock_;
  PageSlabMap slabs_ GUARDED_BY(lock_);
  PageBins free_ GUARDED_BY(lock_);
  std::array<PageTag*, kRecent> recent_ GUARDED_BY(lock_){};  // the newest last
  size_t recentCount_ GUARDED_BY(lock_) = 0;
  PageSlab* firstIdle_ GUARDED_BY(lock_) = nullptr;
  PageSlab* lastIdle_ GUARDED_BY(lock_) = nullptr;
  uint64_t mappedBytes_ GUARDED_BY(lock_) = 0;
  uint64_t usedBytes_ GUARDED_BY(lock_) = 0;
  bool hugePages_ GUARDED_BY(lock_) = false;
};

iVirtualMemory* linuxVirtualMemory();
