#include "fsys/VolumeShares.h"

#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/TextHelpers.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr wchar_t kUncSeparator = L'\\';

bool holds(const iFileManager::Share& share, const Text& unc) {
  return !unc.empty() && startsWithNoCase(unc.view(), share.uncName.view());
}

bool holdsWhole(const iFileManager::Share& share, const Text& unc) {
  size_t end = share.uncName.length();
  return end > 0 && holds(share, unc) && (end == unc.length() || unc[end] == kUncSeparator);
}

// What follows the share's name and one separator.
Text restAfter(const iFileManager::Share& share, const Text& unc) {
  return unc.substr(share.uncName.length() + 1);
}

}  // namespace

void VolumeShares::discover() {
  if (isDiscovered_) return;
  CriticalSectionLock lock(lock_);
  if (isDiscovered_) return;
  shares_ = OS()->getFileManager()->getShares(OS()->getSystemInfo()->getWorkstationName());
  isDiscovered_.set(true);
}

const Vector<iFileManager::Share>& VolumeShares::discovered() {
  discover();
  return shares_;
}

Text VolumeShares::localName(const Text& unc) {
  for (const iFileManager::Share& share : discovered())
    if (holds(share, unc)) return share.localPath + restAfter(share, unc);
  return {};
}

Text VolumeShares::localFolder(const Text& unc) {
  for (const iFileManager::Share& share : discovered())
    if (holdsWhole(share, unc))
      return share.localPath + fixForeignOSFileName(restAfter(share, unc));
  return {};
}

void VolumeShares::forget() {
  CriticalSectionLock lock(lock_);
  shares_.clear();
  isDiscovered_.set(false);
}
