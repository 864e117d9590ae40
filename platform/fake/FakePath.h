#pragma once

#include <string>
#include <string_view>

#include "platform/LightweightString.h"

// Arithmetic on the names of the fake's files.
namespace FakePath {

inline std::wstring textOf(const LightweightString<wchar_t>& path) {
  return std::wstring(path.view());
}

// A folder without the separators at its end; the root keeps its one.
inline std::wstring withoutEnd(std::wstring folder, wchar_t separator) {
  while (folder.size() > 1 && folder.back() == separator) folder.pop_back();
  return folder;
}

// What all names in that folder begin with.
inline std::wstring withEnd(std::wstring folder, wchar_t separator) {
  if (folder.empty() || folder.back() != separator) folder.push_back(separator);
  return folder;
}

// Whether the path is that folder or lies in it.
inline bool isWithin(std::wstring_view path, const std::wstring& folder, wchar_t separator) {
  std::wstring inside = withEnd(folder, separator);
  return path.starts_with(inside) || path == std::wstring_view(inside).substr(0, inside.size() - 1);
}

// The folder that a name is in, without a separator at its end; empty for a bare name.
inline std::wstring folderOf(const std::wstring& path, wchar_t separator) {
  std::wstring name = withoutEnd(path, separator);
  size_t last = name.rfind(separator);
  if (last == std::wstring::npos) return {};
  return withoutEnd(name.substr(0, last + 1), separator);
}

}  // namespace FakePath
