#include "tools/fsys/FileChoice.h"

#include "tools/fsys/Text.h"

namespace {

// A displaced file of high resolution stands among the proxies.
const char* firstOf(const std::list<MediaFileInfo>& proxies) {
  return proxies.front().wasProxy() ? "the first proxy"
                                    : "a high-resolution copy, which counts as the first proxy";
}

}  // namespace

FileChoice::FileChoice(FsysDirectoryEntry& entry, const DecodeFormat& format)
    : path(entry.findFileForCookie(format)) {
  Proxies proxies;
  entry.copyProxyFiles(proxies);
  if (!takeWanted(proxies, format)) takeHighResOrProxy(entry, proxies);
}

// The first that is high enough. One that leads nowhere serves nobody.
bool FileChoice::takeProxy(const Proxies& proxies, uint32_t height) {
  int place = 0;
  for (const MediaFileInfo& proxy : proxies) {
    if (proxy.proxyHeight() >= height) {
      if (proxy.getPhysicalFilename(false).empty()) return false;
      file = place;
      return true;
    }
    ++place;
  }
  return false;
}

// A proxy that is wanted before the high-resolution file. `why` says then why that serves, or
// begins what is said of another.
bool FileChoice::takeWanted(const Proxies& proxies, const DecodeFormat& format) {
  bool isProxyLevel = format.getProxyLevel() == eProxy;
  uint32_t height = isProxyLevel ? 0 : format.getHeight();
  if (!isProxyLevel && (format.getProxyLevel() != eAuto || height == 0)) return false;
  if (takeProxy(proxies, height)) {
    why = isProxyLevel ? firstOf(proxies) : text("the first proxy of at least %u lines", height);
    return true;
  }
  bool isFirst = isProxyLevel && !proxies.empty();
  why = isFirst        ? std::string(firstOf(proxies)) + " leads nowhere"
        : isProxyLevel ? "there is no proxy"
                       : text("no proxy of at least %u lines can be opened", height);
  return false;
}

void FileChoice::takeHighResOrProxy(FsysDirectoryEntry& entry, const Proxies& proxies) {
  bool isThere = entry.updateStatus(eHighRes) == MediaFileInfo::ePresent;
  if (isThere) {
    file = path.empty() ? kNone : kHighRes;
    why = "the high-resolution file" + (why.empty() ? "" : ": " + why);
    return;
  }
  std::string what = entry.hasHighRes() ? "the high-resolution file is missing"
                                        : "there is no high-resolution file";
  if (takeProxy(proxies, 0)) {
    why = std::string(firstOf(proxies)) + ": " + what + (why.empty() ? "" : ", and " + why);
    return;
  }
  std::string rest =
      proxies.empty() ? "there is no proxy" : std::string(firstOf(proxies)) + " leads nowhere";
  why = what + ", and " + rest;
}
