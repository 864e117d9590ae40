#include "platform/linux/LinuxVirtualMemory.h"

#include <algorithm>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/asan_interface.h>
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#include <sanitizer/asan_interface.h>
#endif
#endif
#ifndef ASAN_POISON_MEMORY_REGION
#define ASAN_POISON_MEMORY_REGION(address, bytes) static_cast<void>(address)
#define ASAN_UNPOISON_MEMORY_REGION(address, bytes) static_cast<void>(address)
#endif

namespace {

constinit LinuxVirtualMemory theVirtualMemory(LinuxVirtualMemory::kKeepBytes);

size_t bytesOf(const PageTag* extent) { return size_t{extent->pages} * kVmPageBytes; }

// Marks the ends of an extent. The first page's mark counts last: an extent may have one page.
void markEnds(PageTag* first, uint32_t pages, PageTag::State state, PageTag::State lastState) {
  PageTag* last = first + (pages - 1);
  last->pages = pages;
  last->state = lastState;
  first->pages = pages;
  first->state = state;
}

}  // namespace

iVirtualMemory* linuxVirtualMemory() { return &theVirtualMemory; }

void* LinuxVirtualMemory::allocate(void* hint, size_t bytes, unsigned type, unsigned protection) {
  if (hint || type != eVmReserveAndCommit || protection != eVmReadWrite) return nullptr;
  if (bytes == 0 || bytes > kMaxRegionBytes) return nullptr;
  auto pages = static_cast<uint32_t>((bytes + kVmPageBytes - 1) / kVmPageBytes);
  if (void* region = allocateKept(pages)) return region;
  if (PageSlab* slab = mapStrided(kindFor(pages))) return allocateFrom(slab, pages);
  // A strided slab that is not to be had leaves the others, which were kept out for its sake.
  if (kindFor(pages) == eStrided)
    if (void* region = allocateKept(pages)) return region;
  PageSlab* slab = PageSlab::map(pages);
  return slab ? allocateFrom(slab, pages) : nullptr;
}

// A region out of a new slab, which becomes the service's, or is unmapped.
void* LinuxVirtualMemory::allocateFrom(PageSlab* slab, uint32_t pages) {
  {
    MutexLock lock(lock_);
    if (addSlabLocked(slab)) return giveLocked(cutLocked(kindOf(slab), pages));
  }
  slab->unmap();
  return nullptr;
}

bool LinuxVirtualMemory::free(void* address, size_t bytes, unsigned type) {
  if (bytes != 0 || type != eVmDecommitAndRelease) return false;
  PageSlab* surplus = nullptr;
  {
    MutexLock lock(lock_);
    PageTag* region = regionAtLocked(address);
    if (!region) return false;
    usedBytes_ -= bytesOf(region);
    ASAN_POISON_MEMORY_REGION(address, bytesOf(region));
    makeRecentLocked(region);
    if (keptBytesLocked() > keepLimit_) {
      mergeRecentLocked();
      surplus = takeSurplusLocked();
    }
  }
  while (surplus) {
    PageSlab* next = surplus->nextIdle;
    surplus->unmap();
    surplus = next;
  }
  return true;
}

iVirtualMemory::Figures LinuxVirtualMemory::figures() const {
  MutexLock lock(lock_);
  return {usedBytes_, keptBytesLocked(), keepLimit_, hugePages_};
}

// A region out of what is kept; null when none fits.
void* LinuxVirtualMemory::allocateKept(uint32_t pages) {
  const Kind kind = kindFor(pages);
  MutexLock lock(lock_);
  PageTag* region = takeRecentLocked(pages);
  if (!region) {
    mergeRecentLocked();
    region = cutLocked(kind, pages);
  }
  if (!region && kind == eStrided && !mayStrideLocked(kind)) region = cutLocked(eAny, pages);
  return region ? giveLocked(region) : nullptr;
}

bool LinuxVirtualMemory::mayStrideLocked(Kind kind) const {
  return kind == eStrided && striding_ && stridedSlabs_ < mostStrided_;
}

// Null for regions of another kind, or when it is not to be had.
PageSlab* LinuxVirtualMemory::mapStrided(Kind kind) {
  {
    MutexLock lock(lock_);
    if (!mayStrideLocked(kind)) return nullptr;
  }
  if (PageSlab* slab = PageSlab::mapStrided(kRun)) return slab;
  MutexLock lock(lock_);
  striding_ = false;
  return nullptr;
}

// The newest recent region of exactly that size.
PageTag* LinuxVirtualMemory::takeRecentLocked(uint32_t pages) {
  for (size_t i = recentCount_; i-- > 0;) {
    PageTag* region = recent_[i];
    if (region->pages != pages) continue;
    std::copy(recent_.begin() + i + 1, recent_.begin() + recentCount_, recent_.begin() + i);
    --recentCount_;
    return region;
  }
  return nullptr;
}

// The start of the smallest extent of that kind that fits; what is left of it stays free.
PageTag* LinuxVirtualMemory::cutLocked(Kind kind, uint32_t pages) {
  PageTag* extent = free_[kind].find(pages);
  if (!extent) return nullptr;
  removeFreeLocked(extent);
  uint32_t rest = extent->pages - pages;
  extent->pages = pages;
  if (rest != 0) putFreeLocked(extent->slab, extent + pages, rest);
  return extent;
}

unsigned char* LinuxVirtualMemory::giveLocked(PageTag* region) {
  markEnds(region, region->pages, PageTag::eRegion, PageTag::eBorder);
  usedBytes_ += bytesOf(region);
  unsigned char* address = region->slab->addressOf(region);
  ASAN_UNPOISON_MEMORY_REGION(address, bytesOf(region));
  return address;
}

bool LinuxVirtualMemory::addSlabLocked(PageSlab* slab) {
  if (!slabs_.add(slab)) return false;
  mappedBytes_ += slab->bytes();
  stridedSlabs_ += kindOf(slab) == eStrided;
  hugePages_ = slab->hugePages;
  putFreeLocked(slab, slab->tags(), slab->pages);
  ASAN_POISON_MEMORY_REGION(slab->memory, slab->bytes());
  return true;
}

// The region that starts at the address; null when none does.
PageTag* LinuxVirtualMemory::regionAtLocked(void* address) {
  PageSlab* slab = slabs_.find(address);
  if (!slab) return nullptr;
  auto offset = static_cast<size_t>(static_cast<unsigned char*>(address) - slab->memory);
  if (offset >= slab->bytes()) return nullptr;
  PageTag* tag = slab->tags() + offset / kVmPageBytes;
  return offset % kVmPageBytes == 0 && tag->state == PageTag::eRegion ? tag : nullptr;
}

void LinuxVirtualMemory::makeRecentLocked(PageTag* region) {
  if (recentCount_ == kRecent) {
    mergeLocked(recent_[0]);
    std::copy(recent_.begin() + 1, recent_.end(), recent_.begin());
    --recentCount_;
  }
  region->state = PageTag::eRecent;
  recent_[recentCount_++] = region;
}

void LinuxVirtualMemory::mergeRecentLocked() {
  for (size_t i = 0; i < recentCount_; ++i) mergeLocked(recent_[i]);
  recentCount_ = 0;
}

// Makes a recent region a free extent together with its free neighbours.
void LinuxVirtualMemory::mergeLocked(PageTag* region) {
  PageTag* first = region;
  uint32_t pages = region->pages;
  region->state = PageTag::eBorder;
  PageTag* after = region + pages;
  if (after->state == PageTag::eFree) {
    pages += after->pages;
    removeFreeLocked(after);
  }
  const PageTag* before = region - 1;
  if (before->state == PageTag::eFree) {
    first = region - before->pages;
    pages += first->pages;
    removeFreeLocked(first);
  }
  putFreeLocked(region->slab, first, pages);
}

void LinuxVirtualMemory::putFreeLocked(PageSlab* slab, PageTag* first, uint32_t pages) {
  first->slab = slab;
  markEnds(first, pages, PageTag::eFree, PageTag::eFree);
  free_[kindOf(slab)].put(first);
  if (pages == slab->pages) linkIdleLocked(slab);
}

void LinuxVirtualMemory::removeFreeLocked(PageTag* extent) {
  free_[kindOf(extent->slab)].remove(extent);
  if (extent->pages == extent->slab->pages) unlinkIdleLocked(extent->slab);
}

// Takes idle slabs out until no more is kept than the limit, or none is idle. The list is linked
// by nextIdle and belongs to the caller.
PageSlab* LinuxVirtualMemory::takeSurplusLocked() {
  PageSlab* surplus = nullptr;
  while (keptBytesLocked() > keepLimit_ && firstIdle_) {
    PageSlab* slab = firstIdle_;
    for (PageSlab* idle = firstIdle_; idle && slab->usual(); idle = idle->nextIdle)
      if (!idle->usual()) slab = idle;
    removeFreeLocked(slab->tags());
    slabs_.remove(slab);
    mappedBytes_ -= slab->bytes();
    stridedSlabs_ -= kindOf(slab) == eStrided;
    ASAN_UNPOISON_MEMORY_REGION(slab->memory, slab->bytes());
    slab->nextIdle = surplus;
    surplus = slab;
  }
  return surplus;
}

void LinuxVirtualMemory::linkIdleLocked(PageSlab* slab) {
  slab->nextIdle = nullptr;
  slab->prevIdle = lastIdle_;
  (lastIdle_ ? lastIdle_->nextIdle : firstIdle_) = slab;
  lastIdle_ = slab;
}

void LinuxVirtualMemory::unlinkIdleLocked(PageSlab* slab) {
  (slab->prevIdle ? slab->prevIdle->nextIdle : firstIdle_) = slab->nextIdle;
  (slab->nextIdle ? slab->nextIdle->prevIdle : lastIdle_) = slab->prevIdle;
}
