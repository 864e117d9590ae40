#include "platform/common/NamePattern.h"

#include <algorithm>
#include <cstddef>

namespace {

// What the sign of a pattern stands for in a name, '*' and '?' aside.
constexpr wchar_t meant(wchar_t sign) {
  if (sign == kLiteralStar) return L'*';
  return sign == kLiteralQuestionMark ? L'?' : sign;
}

}  // namespace

bool matchesPattern(std::wstring_view name, std::wstring_view pattern) {
  if (pattern == L"*.*") return true;
  constexpr size_t kNone = std::wstring_view::npos;
  size_t at = 0;
  size_t wanted = 0;
  // Only the last '*' is tried again: what the ones before it took has not to be taken otherwise.
  size_t lastStar = kNone;
  size_t afterStar = 0;  // where in the name what follows that '*' was looked for last
  while (at < name.size()) {
    bool isMore = wanted < pattern.size();
    if (isMore && pattern[wanted] == L'*') {
      lastStar = wanted++;
      afterStar = at;
    } else if (isMore && (pattern[wanted] == L'?' || meant(pattern[wanted]) == name[at])) {
      ++at;
      ++wanted;
    } else if (lastStar != kNone) {
      wanted = lastStar + 1;
      at = ++afterStar;
    } else {
      return false;
    }
  }
  return std::all_of(pattern.begin() + static_cast<std::ptrdiff_t>(wanted), pattern.end(),
                     [](wchar_t rest) { return rest == L'*'; });
}

std::wstring withoutLiteralSigns(std::wstring_view pattern) {
  std::wstring plain(pattern);
  std::transform(plain.begin(), plain.end(), plain.begin(), meant);
  return plain;
}
