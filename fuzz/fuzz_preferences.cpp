// Preferences: whatever stands in the file, what is set is read back, and lines that are none of
// that name stay as they are.

#include <algorithm>
#include <cstring>
#include <optional>
#include <string>

#include "fuzz/InputBytes.h"
#include "fuzz/Lines.h"
#include "fuzz/Require.h"
#include "platform/EditorPreferences.h"
#include "platform/fake/FakeOSScope.h"
#include "tests/support/TestDiagnostics.h"

namespace {

using Text = LightweightString<wchar_t>;
using Name = LightweightString<char>;

const Text kFile = L"/c/fsys/preferences";
const Text kNone = L"none of all";

constexpr const char* kBlanks = " \t";

// One line, with something on it, that neither a remark nor its own end could be taken for: such a
// name stands on its line as it is.
bool isPlain(std::string_view name) {
  constexpr std::string_view kNever("=\n\0", 3);
  constexpr std::string_view kAtNoEnd(kBlanks);
  return !name.empty() && name.find_first_of(kNever) == name.npos && name.front() != '#' &&
         name.back() != '\r' && kAtNoEnd.find(name.front()) == kAtNoEnd.npos &&
         kAtNoEnd.find(name.back()) == kAtNoEnd.npos;
}

std::string trimmed(const std::string& text) {
  const size_t begin = text.find_first_not_of(kBlanks);
  return begin == text.npos ? "" : text.substr(begin, text.find_last_not_of(kBlanks) - begin + 1);
}

// Each backslash before one of the letters stands for a character.
std::string unescaped(const std::string& written) {
  constexpr std::string_view kLetters = "\\rn0ste";
  constexpr std::string_view kCharacters("\\\r\n\0 \t=", 7);
  std::string name;
  for (size_t i = 0; i < written.size(); ++i) {
    const bool isPair = written[i] == '\\' && i + 1 < written.size();
    const size_t letter = isPair ? kLetters.find(written[i + 1]) : kLetters.npos;
    name += letter == kLetters.npos ? written[i] : kCharacters[letter];
    i += letter == kLetters.npos ? 0 : 1;
  }
  return name;
}

// What stands before '=', without blanks; behind a first one the name that had to be escaped.
// Nothing on a line that is no setting.
std::optional<std::string> nameOn(const std::string& line) {
  const size_t first = line.find('=');
  if (first == line.npos) return {};
  const std::string name = trimmed(line.substr(0, first));
  if (name.starts_with('#')) return {};
  if (!name.empty()) return name;
  const size_t second = line.find('=', first + 1);
  if (second == line.npos) return {};
  const std::string other = unescaped(trimmed(line.substr(first + 1, second - first - 1)));
  return isPlain(other) ? std::nullopt : std::optional(other);
}

Lines::Texts othersIn(const std::string& text, const std::string& name) {
  Lines::Texts lines = Lines::in(text);
  std::erase_if(lines, [&](const std::string& line) { return nameOn(line) == name; });
  return lines;
}

Text wideOf(std::string_view bytes) {
  std::wstring wide(bytes.size() / sizeof(wchar_t), L'\0');
  if (!wide.empty()) std::memcpy(wide.data(), bytes.data(), wide.size() * sizeof(wchar_t));
  return Text(std::wstring_view(wide));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  TestDiagnostics swallowed;
  FakeOSScope os;
  os->systemInfo().setEnvironment("XDG_CONFIG_HOME", "/c");
  InputBytes input(data, size);
  const std::string bytes(input.text());
  const Name name{std::string_view(bytes)};
  const bool isWide = input.flag();
  const std::string_view given = input.text();
  const Text value = isWide ? wideOf(given) : fromUTF8(given);
  const Name other{input.text()};
  const std::string text(input.rest());
  Lines::put(os->files(), kFile, text);

  const Text otherBefore = prefs().getPreference(other, kNone);
  const bool isSet = prefs().setPreference(name, value);
  require(isSet != Lines::hasZero(text), "any name will do, but texts have no zeros");
  const std::string after = Lines::bytesOf(os->files(), kFile);
  if (!isSet) {
    require(after == text, "what is not set changes nothing");
    return 0;
  }
  require(prefs().getPreference(name) == fromUTF8(toUTF8(value).view()),
          "what is set is read back");
  require(othersIn(after, bytes) == othersIn(text, bytes), "other lines stay");
  require(other == name || prefs().getPreference(other, kNone) == otherBefore,
          "other settings stay");
  require(prefs().removePreference(name), "what is set can be taken away");
  require(prefs().getPreference(name, kNone) == kNone, "what was taken away is gone");
  require(Lines::in(Lines::bytesOf(os->files(), kFile)) == othersIn(text, bytes),
          "all its lines went, and no others");
  return 0;
}
