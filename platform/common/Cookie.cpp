#include "platform/Cookie.h"

#include <optional>
#include <string>

namespace {

constexpr size_t kShotStart = 1;
constexpr size_t kChannelStart = kShotStart + Cookie::kShotLength;
constexpr size_t kWhole = kChannelStart + 2;
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

// The eleven characters of a text that is written leniently, or what is nearest to them.
std::wstring strictForm(std::wstring_view text) {
  std::wstring strict(text.substr(0, kWhole));
  for (wchar_t& c : strict) c = upper(c);
  if (strict.size() == kChannelStart) strict += L"00";
  return strict;
}

}  // namespace

Cookie::Cookie(const LightweightString<wchar_t>& text, bool lenient) {
  std::wstring strict = lenient ? strictForm(text.view()) : std::wstring(text.view());
  if (strict.size() != kWhole) return;
  for (size_t i = 0; i < kShotLength; ++i)
    if (!isShotCharacter(strict[kShotStart + i])) return;
  std::optional<uint8_t> high = hexDigit(strict[kChannelStart]);
  std::optional<uint8_t> low = hexDigit(strict[kChannelStart + 1]);
  if (!high || !low || typeOf(strict[0]) == eCookieInvalid) return;
  type_ = typeOf(strict[0]);
  channel_ = static_cast<uint8_t>(*high << 4 | *low);
  for (size_t i = 0; i < kShotLength; ++i) shot_[i] = static_cast<char>(strict[kShotStart + i]);
}

LightweightString<char> Cookie::asString(bool) const {
  if (!isValid()) return "";
  std::string text(1, type_);
  text.append(shot_.data(), shot_.size());
  text += kHexDigits[channel_ >> 4];
  text += kHexDigits[channel_ & 0xF];
  return LightweightString<char>(std::string_view(text));
}

LightweightString<wchar_t> Cookie::asWString() const { return fromUTF8(asString().view()); }

int Cookie::compare(const Cookie& other) const {
  if (shot_ != other.shot_) return shot_ < other.shot_ ? -1 : 1;
  if (type_ != other.type_) return type_ < other.type_ ? -1 : 1;
  return int{channel_} - int{other.channel_};
}

Cookie convertCookie(const Cookie& from, CookieType type, unsigned char channel) {
  bool isMedia = type == eCookieVision || type == eCookieSound;
  if (!from.isValid() || !isMedia) return {};
  Cookie converted = from;
  converted.type_ = type;
  converted.channel_ = channel;
  return converted;
}
