#include "tools/fsys/CookieWord.h"

#include "fsys/MediaName.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

Cookie requireCookie(const char* doing, const std::string& word) {
  Cookie cookie = MediaName::cookieOf(fromUTF8(std::string_view(word)).view());
  if (!cookie.isValid())
    throw ToolError(ExitCode::eUsage, doing, word,
                    "it is no cookie: V or S, eight letters or digits, two hexadecimal digits");
  return cookie;
}

std::string textOf(const Cookie& cookie) { return std::string(cookie.asString().view()); }
