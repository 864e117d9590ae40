#include "tools/fsys/ProxyFacts.h"

#include "fsys/MediaFileInfo.h"
#include "tools/fsys/Text.h"

namespace {

constexpr uint32_t kNoHeight = 0xFFFFFFFF;

}  // namespace

ProxyFacts::ProxyFacts(const LightweightString<wchar_t>& name)
    : hasHeight(MediaFileInfo::getProxyHeight(name) != kNoHeight),
      height(hasHeight ? MediaFileInfo::getProxyHeight(name) : 0),
      channels(MediaFileInfo::getProxyAudioChannels(name)) {}

std::string ProxyFacts::words() const {
  std::string lines = hasHeight ? text("%u lines", height) : "no height";
  return lines + text(", %u sound channel%s", channels, channels == 1 ? "" : "s");
}

void ProxyFacts::put(Json& json) const {
  json["height"] = hasHeight ? Json(height) : Json(nullptr);
  json["channels"] = channels;
}
