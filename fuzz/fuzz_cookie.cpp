// Cookies: any text is one or none, and one is the text that it gives.

#include <string>

#include "fuzz/InputBytes.h"
#include "fuzz/Require.h"
#include "platform/Cookie.h"

namespace {

using Text = LightweightString<wchar_t>;

void checkText(const Cookie& cookie) {
  const Text text = cookie.asWString();
  require(cookie.isValid() == (cookie.getType() != eCookieInvalid), "'I' is the type of none");
  require(text.empty() == !cookie.isValid(), "one that is none has no text");
  if (!cookie.isValid()) return;
  require(text.length() == 11, "a cookie's text has eleven characters");
  require(text == fromUTF8(cookie.asString().view()), "both texts are the same");
  require(Cookie(text) == cookie && Cookie(text, true) == cookie, "a cookie's text is that cookie");
  require(static_cast<char>(text[0]) == cookie.getType(), "it begins with the type");
}

void checkOrder(const Cookie& a, const Cookie& b) {
  require(a.compare(a) == 0, "a cookie is itself");
  require((a.compare(b) < 0) == (b.compare(a) > 0), "one of two comes first");
  require((a.compare(b) == 0) == (a.asWString() == b.asWString()), "equal ones have one text");
}

void checkConverted(const Cookie& from, CookieType type, unsigned char channel) {
  const Cookie to = convertCookie(from, type, channel);
  require(to.isValid() == from.isValid(), "a converted cookie is as valid as before");
  checkText(to);
  if (!from.isValid()) return;
  require(to.getType() == type && to.getChannel() == channel, "it has the type and the channel");
  const Cookie back = convertCookie(to, from.getType(), from.getChannel());
  require(back == from, "the shot stays");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  InputBytes input(data, size);
  const CookieType type = input.flag() ? eCookieSound : eCookieVision;
  const auto channel = static_cast<unsigned char>(input.number(1));
  const Text first = fromUTF8(input.text());
  const Text second = fromUTF8(input.rest());
  const Cookie strict(first);
  const Cookie lenient(first, true);
  require(!strict.isValid() || strict == lenient, "who is strict takes no more");
  for (const Cookie& cookie : {strict, lenient}) {
    checkText(cookie);
    checkConverted(cookie, type, channel);
  }
  checkOrder(lenient, Cookie(second, true));
  return 0;
}
