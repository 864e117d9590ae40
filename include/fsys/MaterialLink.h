#pragma once

#include "fsys/Export.h"
#include "platform/LightweightString.h"

// MaterialLink: small files that stand for media elsewhere.
// Threads    any.
class FSYS_EXPORT MaterialLink {
public:
  // Whether the path is a link; `result` is its target, or the path itself when it is none.
  static bool getLinkedFilename(const LightweightString<wchar_t>& path,
                                LightweightString<wchar_t>& result);
};
