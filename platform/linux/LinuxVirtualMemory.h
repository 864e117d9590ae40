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
//            longest idle. Regions of 17 pages, the blocks of 64 KiB and a sector, come from about
//            kMostStrided strided slabs at the most, and from the others after that. Once the
//            system has refused such a slab, be it for a moment, none is asked for any more.
// Threads    any. lock_ is held for some list work; no system call is made under it. Who needs a
//            new slab waits for the system: a strided one is touched at once.
// Ownership  slabs live until they are given back. The object is never destroyed with regions out.
// Units      bytes outside, pages inside.
class LinuxVirtualMemory final : public iVirtualMemory {
public:
  static constexpr uint64_t kKeepBytes = 256 * 1024 * 1024;
  static constexpr size_t kMaxRegionBytes = size_t{1} << 40;

  // Strided slabs: each run of them is a mapping, of which a process may have 65,530.
  static constexpr uint32_t kMostStrided = 64;

  explicit constexpr LinuxVirtualMemory(uint64_t keepLimit, uint32_t mostStrided = kMostStrided)
      : keepLimit_(keepLimit), mostStrided_(mostStrided) {}

  void* allocate(void* hint, size_t bytes, unsigned type, unsigned protection) override;
  bool free(void* address, size_t bytes, unsigned type) override;
  Figures figures() const override;

private:
  // Slabs by the regions that are cut from them: of any size, or of kRun pages and one more. Longer
  // runs are not worth it: at 256 KiB 1.5 % more throughput for a third more processor time.
  enum Kind : unsigned { eAny, eStrided, eKinds };
  static constexpr uint32_t kRun = 64 * 1024 / kVmPageBytes;

  // Regions that wait to be used again as they are.
  static constexpr size_t kRecent = 32;

  static Kind kindFor(uint32_t pages) { return pages == kRun + 1 ? eStrided : eAny; }
  static Kind kindOf(const PageSlab* slab) { return slab->run != 0 ? eStrided : eAny; }

  void* allocateKept(uint32_t pages);
  void* allocateFrom(PageSlab* slab, uint32_t pages);
  PageSlab* mapStrided(Kind kind);
  bool mayStrideLocked(Kind kind) const REQUIRES(lock_);
  PageTag* takeRecentLocked(uint32_t pages) REQUIRES(lock_);
  PageTag* cutLocked(Kind kind, uint32_t pages) REQUIRES(lock_);
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
  const uint32_t mostStrided_;
  mutable Mutex lock_;
  PageSlabMap slabs_ GUARDED_BY(lock_);
  std::array<PageBins, eKinds> free_ GUARDED_BY(lock_);
  uint32_t stridedSlabs_ GUARDED_BY(lock_) = 0;
  bool striding_ GUARDED_BY(lock_) = true;                    // until the system refuses it
  std::array<PageTag*, kRecent> recent_ GUARDED_BY(lock_){};  // the newest last
  size_t recentCount_ GUARDED_BY(lock_) = 0;
  PageSlab* firstIdle_ GUARDED_BY(lock_) = nullptr;
  PageSlab* lastIdle_ GUARDED_BY(lock_) = nullptr;
  uint64_t mappedBytes_ GUARDED_BY(lock_) = 0;
  uint64_t usedBytes_ GUARDED_BY(lock_) = 0;
  bool hugePages_ GUARDED_BY(lock_) = false;
};

iVirtualMemory* linuxVirtualMemory();
