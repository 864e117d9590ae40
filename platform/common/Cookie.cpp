#include "platform/Cookie.h"

#include <algorithm>
#include <optional>

#include "platform/TextHelpers.h"

namespace {

constexpr size_t kShotStart = 1;
constexpr size_t kChannelStart = kShotStart + Cookie::kShotLength;
constexpr std::string_view kHexDigits = "0123456789ABCDEF";
constexpr uint8_t kFirstLetter = 11;  // among a shot's digits

constexpr wchar_t upper(wchar_t c) {
  return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}
// Above 0, in the order of the characters.
std::optional<uint8_t> shotDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return static_cast<uint8_t>(c - L'0' + 1);
  if (c >= L'A' && c <= L'Z') return static_cast<uint8_t>(c - L'A' + kFirstLetter);
  return {};
}
constexpr char shotCharacter(unsigned digit) {
  return static_cast<char>(digit < kFirstLetter ? '0' + digit - 1 : 'A' + digit - kFirstLetter);
}
std::optional<uint8_t> hexDigit(wchar_t c) {
  if (c >= L'0' && c <= L'9') return static_cast<uint8_t>(c - L'0');
  if (c >= L'A' && c <= L'F') return static_cast<uint8_t>(c - L'A' + 10);
  return {};
}
constexpr CookieType typeOf(wchar_t c) {
  return c == L'V' ? eCookieVision : c == L'S' ? eCookieSound : eCookieInvalid;
}

// The eleven characters of a text that is written leniently; false when there are too few.
bool strictForm(std::wstring_view text, std::array<wchar_t, Cookie::kLength>& strict) {
  strict.fill(L'0');
  if (text.size() < strict.size() && text.size() != kChannelStart) return false;
  text = text.substr(0, strict.size());
  std::transform(text.begin(), text.end(), strict.begin(), upper);
  return true;
}

}  // namespace

Cookie::Cookie(const LightweightString<wchar_t>& text, bool lenient)
    : Cookie(fromView(text.view(), lenient)) {}

Cookie Cookie::fromView(std::wstring_view text, bool lenient) {
  std::array<wchar_t, kLength> strict;
  if (lenient && strictForm(text, strict)) text = {strict.data(), strict.size()};
  if (text.size() != kLength || typeOf(text[0]) == eCookieInvalid) return {};
  uint64_t shot = 0;
  for (wchar_t character : text.substr(kShotStart, kShotLength)) {
    std::optional<uint8_t> digit = shotDigit(character);
    if (!digit) return {};
    shot = shot << kCharacterBits | *digit;
  }
  std::optional<uint8_t> high = hexDigit(text[kChannelStart]);
  std::optional<uint8_t> low = hexDigit(text[kChannelStart + 1]);
  if (!high || !low) return {};
  return Cookie(shot, typeOf(text[0]), static_cast<uint8_t>(*high << 4 | *low));
}

std::array<char, Cookie::kLength> Cookie::characters() const {
  std::array<char, kLength> text;
  text[0] = getType();
  constexpr uint64_t kCharacter = (1U << kCharacterBits) - 1;
  uint64_t shot = value_ >> kShotShift;
  for (size_t i = kShotLength; i-- > 0; shot >>= kCharacterBits)
    text[kShotStart + i] = shotCharacter(static_cast<unsigned>(shot & kCharacter));
  text[kChannelStart] = kHexDigits[getChannel() >> 4];
  text[kChannelStart + 1] = kHexDigits[getChannel() & 0xF];
  return text;
}

LightweightString<char> Cookie::asString(bool) const {
  if (!isValid()) return "";
  const std::array<char, kLength> text = characters();
  return LightweightString<char>(text.data(), text.size());
}

LightweightString<wchar_t> Cookie::asWString() const { return fromUTF8(asString().view()); }

bool Cookie::isTextNoCase(std::wstring_view text) const {
  if (!isValid()) return text.empty();
  const std::array<char, kLength> narrow = characters();
  std::array<wchar_t, kLength> wide;
  std::copy(narrow.begin(), narrow.end(), wide.begin());
  return equalsNoCase(text, std::wstring_view(wide.data(), wide.size()));
}

Cookie convertCookie(const Cookie& from, CookieType type, unsigned char channel) {
  bool isMedia = type == eCookieVision || type == eCookieSound;
  if (!from.isValid() || !isMedia) return {};
  return Cookie(from.value_ >> Cookie::kShotShift, type, channel);
}
