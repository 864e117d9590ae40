#pragma once

#include <string_view>

#include "platform/PlatformExport.h"

// Comparisons without regard to case: of letters A to Z in narrow texts; in wide ones of the
// letters of Latin (to U+017F), Greek, Coptic and Cyrillic, by simple folding: one character stands
// for one character. Any other character is equal to itself alone.
// Threads    any; pure; no locale, no allocation.
PLATFORM_EXPORT bool equalsNoCase(std::wstring_view a, std::wstring_view b);
PLATFORM_EXPORT bool equalsNoCase(std::string_view a, std::string_view b);
PLATFORM_EXPORT bool startsWithNoCase(std::wstring_view text, std::wstring_view prefix);

namespace Qv {
// Whether the text ends in that character; with `matchCase` false, in either case of it.
PLATFORM_EXPORT bool endsWith(std::wstring_view text, wchar_t character, bool matchCase = true);

// AttribValuePair: "attribute=value", split at the first separator.
struct AttribValuePair {
  std::string_view attribute;
  std::string_view value;
  bool isPair = false;  // whether there was a separator
};
// The parts lie in `text` and last as long as that does.
PLATFORM_EXPORT AttribValuePair splitPair(std::string_view text, std::string_view separator = "=");
}  // namespace Qv
