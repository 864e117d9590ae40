#include "fsys/MediaName.h"

#include "fsys/SystemCache.h"

MediaName::MediaName(const LightweightString<wchar_t>& name, uint64_t bytes) : verdict(eEmpty) {
  if (bytes == 0) return;
  verdict = eIneligible;
  if (!SystemCache::isEligible(name)) return;
  cookie = cookieOf(name.view().substr(0, name.view().find(L'.')));
  verdict = cookie.isValid() ? eMedia : eNoCookie;
}

// Much can be read as a cookie that is not how it is written.
Cookie MediaName::cookieOf(std::wstring_view text) {
  Cookie cookie = Cookie::fromView(text, true);
  return cookie.isTextNoCase(text) ? cookie : Cookie();
}
