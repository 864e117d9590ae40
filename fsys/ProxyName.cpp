#include "fsys/ProxyName.h"

#include <algorithm>
#include <optional>

namespace ProxyName {

namespace {

constexpr std::wstring_view kHeightMark = L"proxy";
constexpr std::wstring_view kHeightStart = L"proxy.";
constexpr std::wstring_view kChannelsMark = L".A";
constexpr std::wstring_view kOlderForm = L"/proxy/proxy-";
constexpr std::wstring_view kBlanks = L" \t\n\v\f\r";
constexpr uint64_t kMost = 0xFFFFFFFF;
constexpr uint64_t kMostBelowZero = 0x80000000;

bool isDigit(wchar_t character) { return character >= L'0' && character <= L'9'; }

// At the start of the text.
std::optional<uint32_t> number(std::wstring_view text) {
  text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
  bool isNegative = text.starts_with(L'-');
  if (isNegative || text.starts_with(L'+')) text.remove_prefix(1);
  if (text.empty() || !isDigit(text.front())) return std::nullopt;
  uint64_t value = 0;
  for (size_t i = 0; i < text.size() && isDigit(text[i]); ++i) {
    value = value * 10 + static_cast<uint64_t>(text[i] - L'0');
    if (value > (isNegative ? kMostBelowZero : kMost)) return std::nullopt;
  }
  return static_cast<uint32_t>(isNegative ? 0 - value : value);
}

// Behind `start`, which must stand where `mark` does for the first time.
std::optional<uint32_t> numberBehind(std::wstring_view name, std::wstring_view mark,
                                     std::wstring_view start) {
  name.remove_prefix(std::min(name.find(mark), name.size()));
  if (!name.starts_with(start)) return std::nullopt;
  return number(name.substr(start.size()));
}

}  // namespace

std::wstring make(std::wstring_view stem, std::wstring_view extension, uint32_t height,
                  uint8_t channels) {
  std::wstring name(stem);
  name.append(kChannelsMark).append(std::to_wstring(channels)).append(L".");
  name.append(kHeightStart).append(std::to_wstring(height)).append(L".");
  return name.append(extension);
}

uint32_t height(std::wstring_view name) {
  return numberBehind(name, kHeightMark, kHeightStart).value_or(kNoHeight);
}

uint32_t audioChannels(std::wstring_view name) {
  return numberBehind(name, kChannelsMark, kChannelsMark).value_or(kNoChannels);
}

bool isOlderForm(std::wstring_view name) { return name.find(kOlderForm) != name.npos; }

}  // namespace ProxyName
