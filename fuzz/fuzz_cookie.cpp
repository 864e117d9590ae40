// Cookies: which text is one, read here a second time, and one is the text that it gives.

#include <string>
#include <string_view>

#include "fsys/MediaName.h"
#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/Cookie.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr std::wstring_view kShotCharacters = L"0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
constexpr std::wstring_view kChannelCharacters = L"0123456789ABCDEF";

bool hasOnly(const std::wstring& text, std::wstring_view characters) {
  return text.find_first_not_of(characters) == text.npos;
}

// A letter for the type, eight characters of the shot, two digits of the channel.
bool isCookieText(const std::wstring& text) {
  return text.size() == 11 && hasOnly(text.substr(0, 1), L"VS") &&
         hasOnly(text.substr(1, 8), kShotCharacters) && hasOnly(text.substr(9), kChannelCharacters);
}

// Of the alphabet of cookies alone.
std::wstring inCapitals(std::wstring text) {
  for (wchar_t& character : text)
    if (character >= L'a' && character <= L'z') character -= L'a' - L'A';
  return text;
}

// The text of the cookie that is to be read; empty when it is none.
std::wstring expected(std::wstring text, bool isLenient) {
  if (isLenient) text = inCapitals(text.size() == 9 ? text + L"00" : text.substr(0, 11));
  return isCookieText(text) ? text : L"";
}

void checkText(const Cookie& cookie, const std::wstring& text) {
  require(cookie.asWString().view() == text, "a text is the cookie that it spells, or none");
  require(fromUTF8(cookie.asString().view()) == cookie.asWString(), "both texts are the same");
  require(cookie.isValid() == !text.empty(), "one that is none has no text");
  const char type = text.empty() ? 'I' : static_cast<char>(text[0]);
  require(static_cast<char>(cookie.getType()) == type, "it begins with the type; 'I' is none's");
  const auto channel = text.empty() ? 0ul : std::stoul(text.substr(9), nullptr, 16);
  require(cookie.getChannel() == channel, "it ends with the channel");
}

// What a scan takes: the whole text, and nothing that only can be read as a cookie.
void checkWhole(const std::wstring& text) {
  const std::wstring capitals = inCapitals(text);
  checkText(MediaName::cookieOf(text), isCookieText(capitals) ? capitals : L"");
}

void checkOrder(const Cookie& a, const Cookie& b) {
  require(a.compare(a) == 0, "a cookie is itself");
  require((a.compare(b) < 0) == (b.compare(a) > 0), "one of two comes first");
  require((a.compare(b) == 0) == (a.asWString() == b.asWString()), "equal ones have one text");
  if (!a.isValid() || !b.isValid()) return;
  const std::wstring shotOfA(a.asWString().view().substr(1, 8));
  const std::wstring shotOfB(b.asWString().view().substr(1, 8));
  require(shotOfA == shotOfB || (a.compare(b) < 0) == (shotOfA < shotOfB), "shots come first");
}

void checkConverted(const Cookie& from, CookieType type, unsigned char channel) {
  constexpr std::wstring_view kDigits = kChannelCharacters;
  std::wstring text(from.asWString().view());
  if (!text.empty()) {
    text[0] = static_cast<wchar_t>(type);
    text[9] = kDigits[channel / 16];
    text[10] = kDigits[channel % 16];
  }
  const Cookie to = convertCookie(from, type, channel);
  checkText(to, text);
  require(convertCookie(to, from.getType(), from.getChannel()) == from, "the shot stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InputBytes input(data, size);
  const CookieType type = input.flag() ? eCookieSound : eCookieVision;
  const auto channel = static_cast<unsigned char>(input.number(1));
  const Text first = fromUTF8(input.text());
  const Text second = fromUTF8(input.rest());
  const std::wstring text(first.view());
  for (bool isLenient : {false, true}) {
    const Cookie cookie(first, isLenient);
    checkText(cookie, expected(text, isLenient));
    checkConverted(cookie, type, channel);
  }
  checkWhole(text);
  checkOrder(Cookie(first, true), Cookie(second, true));
  return 0;
}
