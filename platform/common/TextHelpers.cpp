#include "platform/TextHelpers.h"

#include <algorithm>

#include "platform/common/CaseFolding.h"

namespace {

constexpr char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

}  // namespace

// From the end: paths begin alike.
bool equalsNoCase(std::wstring_view a, std::wstring_view b) {
  return std::equal(a.rbegin(), a.rend(), b.rbegin(), b.rend(),
                    [](wchar_t x, wchar_t y) { return x == y || foldCase(x) == foldCase(y); });
}

bool equalsNoCase(std::string_view a, std::string_view b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](char x, char y) { return lower(x) == lower(y); });
}

bool startsWithNoCase(std::wstring_view text, std::wstring_view prefix) {
  return equalsNoCase(text.substr(0, prefix.size()), prefix);
}

bool Qv::endsWith(std::wstring_view text, wchar_t character, bool matchCase) {
  if (text.empty()) return false;
  wchar_t last = text.back();
  return matchCase ? last == character : foldCase(last) == foldCase(character);
}

Qv::AttribValuePair Qv::splitPair(std::string_view text, std::string_view separator) {
  size_t at = separator.empty() ? text.npos : text.find(separator);
  if (at == text.npos) return {text, {}, false};
  return {text.substr(0, at), text.substr(at + separator.size()), true};
}
