#include "platform/Cookie.h"

#include <algorithm>
#include <optional>

#include "platform/TextHelpers.h"

namespace {

constexpr size_t kShotStart = 1;
constexpr size_t kChannelStart = kShotStart + Cookie::kShotLength;
constexpr std::string_view kHexDigits = "0123456789ABCDEF";

constexpr wchar_t upper(wchar_t c) {
  return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - L'a' + L'A') : c;
}
constexpr bool isShotCharacter(wchar_t c) {
  return (c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z');
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
  Cookie cookie;
  for (wchar_t character : text.substr(kShotStart, kShotLength)) {
    if (!isShotCharacter(character)) return {};
    cookie.shot_ = cookie.shot_ << 8 | static_cast<uint8_t>(character);
  }
  std::optional<uint8_t> high = hexDigit(text[kChannelStart]);
  std::optional<uint8_t> low = hexDigit(text[kChannelStart + 1]);
  if (!high || !low) return {};
  cookie.type_ = typeOf(text[0]);
  cookie.channel_ = static_cast<uint8_t>(*high << 4 | *low);
  return cookie;
}

std::array<char, Cookie::kLength> Cookie::characters() const {
  std::array<char, kLength> text;
  text[0] = type_;
  for (size_t i = 0; i < kShotLength; ++i)
    text[kShotStart + i] = static_cast<char>(shot_ >> (8 * (kShotLength - 1 - i)));
  text[kChannelStart] = kHexDigits[channel_ >> 4];
  text[kChannelStart + 1] = kHexDigits[channel_ & 0xF];
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
  Cookie converted = from;
  converted.type_ = type;
  converted.channel_ = channel;
  return converted;
}
