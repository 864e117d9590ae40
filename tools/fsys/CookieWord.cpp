#include "tools/fsys/CookieWord.h"

#include "fsys/DiskManager.h"
#include "fsys/MediaName.h"
#include "platform/PathHelpers.h"
#include "tools/fsys/Text.h"

Cookie requireCookie(const char* doing, const std::string& word) {
  Cookie cookie = MediaName::cookieOf(fromUTF8(std::string_view(word)).view());
  if (!cookie.isValid())
    throw ToolError(ExitCode::eUsage, doing, word,
                    "it is no cookie: V or S, eight letters or digits, two hexadecimal digits");
  return cookie;
}

std::string textOf(const Cookie& cookie) { return std::string(cookie.asString().view()); }

ToolError noMediaOf(const char* doing, const Cookie& cookie) {
  ToolError error(ExitCode::eNotFound, doing, textOf(cookie), "no media drive has media of it");
  std::string away;
  for (const PathString& path : DiskManager::getMissingMediaLocations())
    away += (away.empty() ? "" : ", ") + inQuotes(bytesOf(path)) + " is away";
  return away.empty() ? error : error.withRemark(away);
}
