#include "platform/common/FolderBelow.h"

#include <algorithm>

#include "platform/TextHelpers.h"

std::vector<LightweightString<wchar_t>> namesBelow(std::wstring_view folder,
                                                   std::wstring_view subfolder, wchar_t separator) {
  if (folder.ends_with(separator)) folder.remove_suffix(1);
  if (subfolder.ends_with(separator)) subfolder.remove_suffix(1);
  if (!startsWithNoCase(subfolder, folder)) return {};
  std::wstring_view rest = subfolder.substr(folder.size());
  std::vector<LightweightString<wchar_t>> names;
  // Each name stands behind a separator.
  while (rest.starts_with(separator)) {
    rest.remove_prefix(1);
    std::wstring_view name = rest.substr(0, rest.find(separator));
    if (name.empty() || name == L"." || name == L"..") return {};
    names.emplace_back(name);
    rest.remove_prefix(name.size());
  }
  return rest.empty() ? names : std::vector<LightweightString<wchar_t>>();
}
