#pragma once

#include <cstdint>
#include <string_view>

#include "fsys/Export.h"
#include "platform/Cookie.h"
#include "platform/LightweightString.h"

// MediaName: what a file in a media folder is, by its name and its size.
// Story      A scan catalogues a file that is media under its cookie, and passes over every other.
//            Whoever looks at such a folder himself asks here, and sees the same.
// Threads    a value; nothing is asked of a disk.
// Units      bytes.
// Errors     none. A file that is not media has an invalid cookie.
struct FSYS_EXPORT MediaName {
  // The first that holds.
  enum eVerdict {
    eEmpty,       // it has no bytes
    eIneligible,  // its name is that of a file beside media: SystemCache::isEligible
    eNoCookie,    // what stands before its first dot is no cookie's text
    eMedia,
  };

  // `name` is the file's own, without its folder.
  MediaName(const LightweightString<wchar_t>& name, uint64_t bytes);

  eVerdict verdict;
  Cookie cookie;

  // The cookie whose text it is, all of it, in letters of either case; invalid for any other text.
  static Cookie cookieOf(std::wstring_view text);
};
