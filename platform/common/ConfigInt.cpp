#include "platform/ConfigInt.h"

#include <charconv>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>

#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/common/ConfigFile.h"

namespace {

constexpr std::string_view kBlanks = " \t\r\f\v";

std::string_view trimmed(std::string_view text) {
  size_t start = text.find_first_not_of(kBlanks);
  if (start == text.npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

// Decimal or 0x hexadecimal with an optional sign, nothing else around it.
std::optional<int> parseInteger(std::string_view text) {
  bool negative = text.starts_with('-');
  if (negative || text.starts_with('+')) text.remove_prefix(1);
  int base = 10;
  if (text.starts_with("0x") || text.starts_with("0X")) {
    base = 16;
    text.remove_prefix(2);
  }
  uint64_t magnitude = 0;
  auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), magnitude, base);
  if (text.empty() || error != std::errc() || end != text.data() + text.size()) return {};
  constexpr uint64_t kMost = std::numeric_limits<int>::max();
  if (magnitude > kMost + (negative ? 1 : 0)) return {};
  auto value = static_cast<int64_t>(magnitude);
  return static_cast<int>(negative ? -value : value);
}

// The integer of a text, or `value` after saying where it stands.
int integerOr(std::string_view text, std::string_view name, int line, int value) {
  if (std::optional<int> number = parseInteger(text)) return *number;
  Log("%.*s line %d: '%.*s' is not an integer, %d is used\n", static_cast<int>(name.size()),
      name.data(), line, static_cast<int>(text.size()), text.data(), value);
  return value;
}

}  // namespace

int configIntFromText(std::string_view text, std::string_view name, const char* key, int value) {
  std::optional<std::string_view> found;
  int foundLine = 0;
  for (int line = 1; !text.empty(); ++line) {
    size_t end = std::min(text.find('\n'), text.size());
    std::string_view content = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    content = content.substr(0, content.find('#'));
    size_t equals = content.find('=');
    if (equals == content.npos || trimmed(content.substr(0, equals)) != key) continue;
    found = trimmed(content.substr(equals + 1));
    foundLine = line;
  }
  return found ? integerOr(*found, name, foundLine, value) : value;
}

int config_int(const char* key, int value) {
  std::string variable = std::string("FSYS_CONFIG_") + key;
  std::string text;
  if (OS()->getSystemInfo()->getEnvironment(variable.c_str(), text)) {
    if (std::optional<int> number = parseInteger(trimmed(text))) return *number;
    Log("%s='%s' is not an integer, %d is used\n", variable.c_str(), text.c_str(), value);
    return value;
  }
  // Always through the system's own services: the text outlives any others.
  static const ConfigFile& file = *new ConfigFile(ConfigFile::read(*nativeOS()));
  return configIntFromText(file.text, file.name, key, value);
}

LightweightString<wchar_t> configFile() { return ConfigFile::pathOf(*OS()->getSystemInfo()); }
