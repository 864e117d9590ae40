#include "fsys/MediaLocationInfo.h"

#include <algorithm>

#include "fsys/DiskManager.h"
#include "fsys/MediaFileInfo.h"
#include "fsys/SystemCache.h"
#include "platform/Check.h"

namespace {

bool has(const Vector<uint32_t>& statuses, MediaFileInfo::eStatus status) {
  return std::find(statuses.begin(), statuses.end(), status) != statuses.end();
}

// The condition's text is fixed, and so are its names.
bool isThere(size_t i, size_t size_) { return FSYS_CHECK(i < size_, "Vector"); }

}  // namespace

bool MediaLocationInfo::allMediaOffline() const {
  return std::all_of(mediaStatus_.begin(), mediaStatus_.end(),
                     [](uint32_t status) { return status == MediaFileInfo::eMissing; });
}

bool MediaLocationInfo::someMediaOffline() const {
  return has(mediaStatus_, MediaFileInfo::eMissing);
}

bool MediaLocationInfo::someProxyOnline() const {
  return has(proxyStatus_, MediaFileInfo::ePresent);
}

LightweightString<wchar_t> MediaLocationInfo::getPrimaryLocationDisplayString() const {
  if (primaryLocations_.empty()) return {};
  const MaterialFilename& shown = primaryLocations_[0];
  if (!shown.getDrive().valid() || shown.getPath().empty()) return {};
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(shown.getDrive());
  return drive ? drive->getUserName(false) : LightweightString<wchar_t>();
}

LightweightString<wchar_t> MediaLocationInfo::getLinkedLocationDisplayString() const {
  if (!isThere(0, linkedLocations_.size())) return {};
  return linkedLocations_[0];
}

bool MediaLocationInfo::isClipOffline(const Cookie& cookie, unsigned mediaTypes) {
  if (cookie.getType() != eCookieSound && cookie.getType() != eCookieVision) {
    (void)FSYS_CHECK(false, "fsys/MediaLocationInfo line 104");
    return true;
  }
  return SystemCache::updateStatus(cookie, mediaTypes) == MediaFileInfo::eMissing;
}
