#include "platform/common/PreferenceLines.h"

#include <array>
#include <string>

#include "platform/TextFile.h"

namespace {

constexpr std::string_view kBlanks = " \t";

enum Part { eName, eValue };
enum Where { eAnywhere, eAtAnEnd, eInAName };

struct Escape {
  char character;
  char letter;  // what follows the backslash
  Where where;
};
constexpr std::array<Escape, 7> kEscapes{{{'\\', '\\', eAnywhere},
                                          {'\r', 'r', eAnywhere},
                                          {'\n', 'n', eAnywhere},
                                          {'\0', '0', eAnywhere},
                                          {' ', 's', eAtAnEnd},
                                          {'\t', 't', eAtAnEnd},
                                          {'=', 'e', eInAName}}};

bool isIn(const Escape& escape, Part part) { return escape.where != eInAName || part == eName; }

std::string_view trimmed(std::string_view text) {
  size_t start = text.find_first_not_of(kBlanks);
  if (start == text.npos) return {};
  return text.substr(start, text.find_last_not_of(kBlanks) - start + 1);
}

std::string escaped(std::string_view value, Part part) {
  std::string written;
  for (size_t i = 0; i < value.size(); ++i) {
    bool atAnEnd = i == 0 || i + 1 == value.size();
    char letter = 0;
    for (const Escape& escape : kEscapes)
      if (escape.character == value[i] && (atAnEnd || escape.where != eAtAnEnd) &&
          isIn(escape, part))
        letter = escape.letter;
    if (letter == 0) {
      written.push_back(value[i]);
    } else {
      written.append({'\\', letter});
    }
  }
  return written;
}

std::string unescaped(std::string_view written, Part part) {
  std::string value;
  while (!written.empty()) {
    const Escape* found = nullptr;
    if (written.size() > 1 && written.front() == '\\')
      for (const Escape& escape : kEscapes)
        if (escape.letter == written[1] && isIn(escape, part)) found = &escape;
    value.push_back(found ? found->character : written.front());
    written.remove_prefix(found ? 2 : 1);
  }
  return value;
}

// A name that stands on its line as it is.
bool isPlain(std::string_view name) {
  return !name.empty() && TextFile::isLine(name) && name.find('=') == name.npos &&
         !name.starts_with('#') && trimmed(name) == name;
}

struct Setting {
  std::string name;
  std::string_view value;  // as it is written
};

// What stands before the first '=' of a line, and behind it.
struct Halves {
  std::string_view before;
  std::string_view behind;
};

std::optional<Halves> halvesOf(std::string_view line) {
  size_t equals = line.find('=');
  if (equals == line.npos) return {};
  return Halves{trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
}

std::optional<Setting> settingOf(std::string_view line) {
  std::optional<Halves> halves = halvesOf(line);
  if (!halves || halves->before.starts_with('#')) return {};
  if (!halves->before.empty()) return Setting{std::string(halves->before), halves->behind};
  // A name that had to be escaped. One that had not is not written so.
  halves = halvesOf(halves->behind);
  if (!halves) return {};
  std::string name = unescaped(halves->before, eName);
  if (isPlain(name)) return {};
  return Setting{name, halves->behind};
}

std::string writtenName(std::string_view name) {
  return isPlain(name) ? std::string(name) : "= " + escaped(name, eName);
}

bool isOf(std::string_view name, const LightweightString<char>& line) {
  std::optional<Setting> setting = settingOf(line.view());
  return setting && setting->name == name;
}

}  // namespace

std::optional<LightweightString<wchar_t>> PreferenceLines::find(const TextLines::Lines& lines,
                                                                std::string_view name) {
  std::optional<std::string> value;
  for (const LightweightString<char>& line : lines) {
    std::optional<Setting> setting = settingOf(line.view());
    if (setting && setting->name == name) value = unescaped(setting->value, eValue);
  }
  if (!value) return {};
  return fromUTF8(std::string_view(*value));
}

TextLines::Lines PreferenceLines::changed(const TextLines::Lines& lines, std::string_view name,
                                          const std::optional<LightweightString<wchar_t>>& value) {
  std::string written = writtenName(name);
  if (value) written += " = " + escaped(toUTF8(*value).view(), eValue);
  const LightweightString<char> own{std::string_view(written)};
  bool pending = value.has_value();
  TextLines::Lines after;
  for (const LightweightString<char>& line : lines) {
    bool isOwn = isOf(name, line);
    if (!isOwn) after.add(line);
    if (isOwn && pending) after.add(own);
    pending = pending && !isOwn;
  }
  if (pending) after.add(own);
  return after;
}
