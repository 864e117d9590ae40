#include "tools/fsys/Text.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <limits>

namespace {

constexpr uint64_t kUnit = 1024;
constexpr unsigned kUnitBits = 10;
constexpr uint64_t kMostBytes = std::numeric_limits<int64_t>::max();
constexpr double kMegabyte = 1e6;
constexpr double kMsPerSecond = 1e3;

struct Range {
  uint32_t first;
  uint32_t last;
};
constexpr std::array<Range, 7> kControls = {{{0x00, 0x1F},
                                             {0x7F, 0x9F},
                                             {0x061C, 0x061C},
                                             {0x200E, 0x200F},
                                             {0x2028, 0x2029},
                                             {0x202A, 0x202E},
                                             {0x2066, 0x2069}}};

// Of the sequence of that length, as it stands.
uint32_t pointAt(const std::string& bytes, size_t at, size_t length) {
  unsigned char lead = static_cast<unsigned char>(bytes[at]);
  uint32_t point = length == 1 ? lead : lead & (0xFFu >> (length + 1));
  for (size_t i = 1; i < length; ++i)
    point = point << 6 | (static_cast<unsigned char>(bytes[at + i]) & 0x3F);
  return point;
}

// Also what ends a line, and what turns the direction of the text behind it: with them a name looks
// like another.
bool isControl(const std::string& bytes, size_t at, size_t length) {
  const uint32_t point = pointAt(bytes, at, length);
  return std::any_of(kControls.begin(), kControls.end(), [point](const Range& range) {
    return range.first <= point && point <= range.last;
  });
}

// Of the letters behind a number: 1 for none; 0 for what is no unit.
uint64_t unitOf(std::string letters) {
  for (char& letter : letters)
    letter = static_cast<char>(std::toupper(static_cast<unsigned char>(letter)));
  if (letters.empty() || letters == "B") return 1;
  if (letters.size() == 3 && letters.substr(1) == "IB") letters.resize(1);
  static const std::string prefixes = "KMGT";
  size_t power = letters.size() == 1 ? prefixes.find(letters) : std::string::npos;
  return power == std::string::npos ? 0 : kUnit << (kUnitBits * power);
}

}  // namespace

size_t utf8LengthAt(const std::string& bytes, size_t at) {
  unsigned char lead = static_cast<unsigned char>(bytes[at]);
  size_t length = lead < 0x80                   ? 1
                  : lead >= 0xC2 && lead < 0xE0 ? 2
                  : lead >= 0xE0 && lead < 0xF0 ? 3
                  : lead >= 0xF0 && lead < 0xF5 ? 4
                                                : 0;
  if (length == 0 || at + length > bytes.size()) return 0;
  for (size_t i = 1; i < length; ++i)
    if ((static_cast<unsigned char>(bytes[at + i]) & 0xC0) != 0x80) return 0;
  uint32_t point = pointAt(bytes, at, length);
  bool overlong = (length == 3 && point < 0x800) || (length == 4 && point < 0x10000);
  bool surrogate = point >= 0xD800 && point < 0xE000;
  return overlong || surrogate || point > 0x10FFFF ? 0 : length;
}

std::string text(const char* format, ...) {
  va_list arguments;
  va_start(arguments, format);
  va_list again;
  va_copy(again, arguments);
  int length = std::vsnprintf(nullptr, 0, format, arguments);
  va_end(arguments);
  std::string result(length > 0 ? static_cast<size_t>(length) : 0, '\0');
  if (length > 0) std::vsnprintf(result.data(), result.size() + 1, format, again);
  va_end(again);
  return result;
}

std::string inQuotes(const std::string& name) {
  std::string result = "\"";
  for (size_t at = 0; at < name.size();) {
    size_t length = utf8LengthAt(name, at);
    if (length == 0 || isControl(name, at, length)) {
      size_t bytes = length == 0 ? 1 : length;
      for (size_t i = 0; i < bytes; ++i)
        result += text("\\x%02X", static_cast<unsigned>(static_cast<unsigned char>(name[at + i])));
      at += bytes;
      continue;
    }
    if (name[at] == '"' || name[at] == '\\') result += '\\';
    result.append(name, at, length);
    at += length;
  }
  return result + '"';
}

std::string escaped(const std::string& name) {
  std::string quoted = inQuotes(name);
  return quoted.substr(1, quoted.size() - 2);
}

bool isUtf8(const std::string& bytes) {
  for (size_t at = 0; at < bytes.size();) {
    size_t length = utf8LengthAt(bytes, at);
    if (length == 0) return false;
    at += length;
  }
  return true;
}

bool isPlainText(const std::string& bytes) {
  for (size_t at = 0; at < bytes.size();) {
    size_t length = utf8LengthAt(bytes, at);
    if (length == 0 || isControl(bytes, at, length)) return false;
    at += length;
  }
  return true;
}

std::string sizeText(uint64_t bytes) {
  static const char* const units[] = {"bytes", "KiB", "MiB", "GiB", "TiB"};
  double value = static_cast<double>(bytes);
  size_t unit = 0;
  while (value >= static_cast<double>(kUnit) && unit + 1 < std::size(units)) {
    value /= static_cast<double>(kUnit);
    ++unit;
  }
  if (unit == 0)
    return text("%llu byte%s", static_cast<unsigned long long>(bytes), bytes == 1 ? "" : "s");
  return text("%.2f %s", value, units[unit]);
}

double megabytesPerSecond(uint64_t bytes, double ms) {
  return ms > 0 ? static_cast<double>(bytes) / kMegabyte / (ms / kMsPerSecond) : 0;
}

bool parseSize(const std::string& text, uint64_t& bytes) {
  const char* end = text.data() + text.size();
  uint64_t whole = 0;
  auto [next, error] = std::from_chars(text.data(), end, whole);
  if (error != std::errc()) return false;
  double part = 0;
  bool hasPart = next < end && *next == '.';
  if (hasPart) {
    auto [behind, wrong] = std::from_chars(next, end, part, std::chars_format::fixed);
    if (wrong != std::errc()) return false;
    next = behind;
  }
  uint64_t unit = unitOf(std::string(next, end));
  // There is no part of a byte.
  if (unit == 0 || (hasPart && unit == 1) || whole > kMostBytes / unit) return false;
  uint64_t partBytes = static_cast<uint64_t>(part * static_cast<double>(unit));
  if (whole * unit > kMostBytes - partBytes) return false;
  bytes = whole * unit + partBytes;
  return true;
}

std::string bytesOf(const LightweightString<wchar_t>& name) {
  return std::string(toUTF8(name).view());
}

LightweightString<wchar_t> enginePath(const std::string& name) {
  if (name.empty() || name[0] == '/') return fromUTF8(std::string_view(name));
  return fromUTF8(std::string_view("./" + name));
}
