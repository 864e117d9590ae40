#pragma once

#include <cstdint>
#include <string>

#include "platform/LightweightString.h"
#include "tools/fsys/Json.h"

// ProxyFacts: what the name of a media file says of a proxy.
struct ProxyFacts {
  // Nothing is looked for on a disk.
  explicit ProxyFacts(const LightweightString<wchar_t>& name);

  bool hasHeight;
  uint32_t height;  // in lines
  uint32_t channels;

  // "360 lines, 2 sound channels".
  std::string words() const;
  // "height", null when there is none, and "channels".
  void put(Json& json) const;
};

// The group of the commands.
inline constexpr const char* kProxyGroup = "proxy";
inline constexpr const char* kProxyGroupWhat = "Names of files of less resolution";
