#include "fsys/SystemCache.h"

#include <atomic>

namespace {

std::atomic<SystemCache::Watcher> watcher_{nullptr};

void tell(DriveId id, bool added) {
  if (SystemCache::Watcher watcher = watcher_.load()) watcher(id, added);
}

}  // namespace

void SystemCache::addMediaLocation(DriveId id) { tell(id, true); }

void SystemCache::removeMediaLocation(DriveId id) { tell(id, false); }

void SystemCache::addProxyFile(const Cookie&, const MediaFileInfo&) {}

unsigned SystemCache::updateStatus(const Cookie&, unsigned) {
  constexpr unsigned kMissing = 1;
  return kMissing;
}

void SystemCache::setWatcher(Watcher watcher) { watcher_.store(watcher); }
