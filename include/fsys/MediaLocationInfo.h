#pragma once

#include <cstdint>

#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "platform/Cookie.h"
#include "platform/LightweightString.h"
#include "platform/Vector.h"

// MediaLocationInfo: where a clip's media lies, and whether it is there.
// Story      Whoever wants to show it fills the four lists, and asks for the answers and the texts.
// Threads    a value. The name of a drive is asked of the registry, isClipOffline of the catalogue.
// Errors     a list of linked locations without any is reported when one is asked for.
// Kept       no media at all counts as all of it offline, and as none of it
//            (MediaLocationInfoTest.NoMediaIsAllOfflineAndNotSomeOffline). A clip of the catalogue
//            is never offline by its proxies alone
//            (MediaLocationInfoTest.AKnownClipIsNeverOfflineByItsProxiesAlone).
class FSYS_EXPORT MediaLocationInfo {
public:
  // Whether no media file is there.
  bool allMediaOffline() const;
  bool someMediaOffline() const;
  bool someProxyOnline() const;
  // The name that users see of the first primary location's drive. Empty when there is none, when
  // it has no path, and when its drive is not registered.
  LightweightString<wchar_t> getPrimaryLocationDisplayString() const;
  // The first linked location as it stands.
  LightweightString<wchar_t> getLinkedLocationDisplayString() const;

  // Whether the catalogue finds files of these types (1 high resolution, 2 proxies, 3 both)
  // missing. True for a clip that it does not know, and for a cookie of neither vision nor sound,
  // which is reported.
  static bool isClipOffline(const Cookie& cookie, unsigned mediaTypes);

  // Fixed order. The caller's to fill; a status is one of MediaFileInfo's.
  Vector<uint32_t> mediaStatus_;
  Vector<uint32_t> proxyStatus_;
  Vector<MaterialFilename> primaryLocations_;
  Vector<LightweightString<wchar_t>> linkedLocations_;
};
