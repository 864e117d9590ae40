#include "platform/PathHelpers.h"

#include <string>
#include <string_view>
#include <vector>

#include "platform/OS.h"
#include "platform/common/NamePattern.h"

namespace {

constexpr wchar_t kKnownSeparators[] = {L'/', L'\\'};

wchar_t separator() { return OS()->getFileManager()->getSeparator(); }

// The position after the last separator.
size_t nameStart(std::wstring_view path, wchar_t mark) {
  size_t last = path.rfind(mark);
  return last == path.npos ? 0 : last + 1;
}

// Drops '.' and what '..' takes back. A '..' that has nothing to take back stays in a relative path
// and means nothing in an absolute one.
std::vector<std::wstring_view> resolvedParts(std::wstring_view path, wchar_t mark) {
  bool absolute = !path.empty() && path.front() == mark;
  std::vector<std::wstring_view> parts;
  while (!path.empty()) {
    size_t end = std::min(path.find(mark), path.size());
    std::wstring_view part = path.substr(0, end);
    path.remove_prefix(std::min(end + 1, path.size()));
    if (part.empty() || part == L".") continue;
    if (part != L"..") {
      parts.push_back(part);
    } else if (!parts.empty() && parts.back() != L"..") {
      parts.pop_back();
    } else if (!absolute) {
      parts.push_back(part);
    }
  }
  return parts;
}

}  // namespace

PathString normalisedPath(const PathString& path) {
  wchar_t mark = separator();
  std::wstring_view text = path.view();
  std::wstring result;
  if (text.starts_with(mark)) result.push_back(mark);
  std::vector<std::wstring_view> parts = resolvedParts(text, mark);
  for (std::wstring_view part : parts) result.append(part).push_back(mark);
  if (!parts.empty() && !text.ends_with(mark)) result.pop_back();
  return PathString(std::wstring_view(result));
}

PathString getPath(const PathString& path) {
  return normalisedPath(path.substr(0, nameStart(path.view(), separator())));
}

PathString stripPath(const PathString& path) {
  return path.substr(nameStart(path.view(), separator()));
}

PathString stripExtension(const PathString& path) {
  std::wstring_view text = path.view();
  size_t dot = text.rfind(L'.');
  bool has = dot != text.npos && dot >= nameStart(text, separator());
  return has ? path.substr(0, dot) : path;
}

PathString joinPaths(const PathString& folder, const PathString& name) {
  if (folder.empty()) return name;
  wchar_t mark = separator();
  std::wstring_view head = folder.view();
  std::wstring_view tail = name.view();
  while (!head.empty() && head.back() == mark) head.remove_suffix(1);
  while (!tail.empty() && tail.front() == mark) tail.remove_prefix(1);
  std::wstring joined(head);
  joined.push_back(mark);
  joined.append(tail);
  return PathString(std::wstring_view(joined));
}

PathString fixForeignOSFileName(const PathString& path) {
  wchar_t mark = separator();
  std::wstring fixed(path.view());
  for (wchar_t known : kKnownSeparators) std::replace(fixed.begin(), fixed.end(), known, mark);
  return path.isNull() ? path : PathString(std::wstring_view(fixed));
}

PathString withSeparator(const PathString& path) {
  wchar_t mark = separator();
  return path.empty() || path.view().back() == mark ? path : path + mark;
}

PathString withoutSeparator(const PathString& path) {
  bool ends = !path.empty() && path.view().back() == separator();
  return ends ? path.substr(0, path.length() - 1) : path;
}

PathString undoubledBackslashes(const PathString& path) {
  constexpr std::wstring_view kDoubled = L"\\\\";
  std::wstring_view rest = path.view();
  if (rest.starts_with(kDoubled) || rest.find(kDoubled) == rest.npos) return path;
  std::wstring undoubled;
  while (!rest.empty()) {
    undoubled.push_back(rest.front());
    rest.remove_prefix(rest.starts_with(kDoubled) ? kDoubled.size() : 1);
  }
  return PathString(std::wstring_view(undoubled));
}

PathString literalName(const PathString& name) {
  std::wstring literal(name.view());
  std::replace(literal.begin(), literal.end(), L'*', kLiteralStar);
  std::replace(literal.begin(), literal.end(), L'?', kLiteralQuestionMark);
  return name.isNull() ? name : PathString(std::wstring_view(literal));
}

PathString getMediaLocationsFilename() { return L"DefNetDrive.txt"; }
