#include "tools/fsys/demo/DemoEntry.h"

#include <algorithm>

#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/Text.h"

namespace {

bool isThere(const DemoFile& file, const DemoDrive* away) {
  if (file.path.empty()) return false;
  return !away || !(away->holds(file.path) || away->holds(file.target));
}

}  // namespace

// A proxy with sound serves that many sound cookies, too.
std::vector<DemoEntry> DemoEntry::all(DemoDay& day, const DemoDrive* away) {
  std::vector<DemoEntry> entries;
  for (DemoShot* shot : day.media.shots()) {
    for (const DemoFile* file : shot->channels()) {
      DemoEntry entry;
      entry.cookie = file->cookie;
      if (isThere(*file, away)) entry.highRes = file;
      for (const DemoFile& proxy : shot->proxies)
        if (isThere(proxy, away) && file->cookie.getChannel() <= proxy.channels)
          entry.proxies.push_back(&proxy);
      entries.push_back(entry);
    }
  }
  std::sort(entries.begin(), entries.end(),
            [](const DemoEntry& a, const DemoEntry& b) { return a.cookie < b.cookie; });
  return entries;
}

const DemoFile* DemoEntry::answerTo(const DemoQuestion& question) const {
  bool wantsProxy = question.level == eProxy || (question.level == eAuto && question.height > 0);
  uint32_t least = question.level == eAuto ? question.height : 0;
  auto found = std::find_if(proxies.begin(), proxies.end(),
                            [least](const DemoFile* proxy) { return proxy->height >= least; });
  if (wantsProxy && found != proxies.end()) return *found;
  if (highRes) return highRes;
  return proxies.empty() ? nullptr : proxies.front();
}

std::string DemoEntry::words() const {
  std::string all = textOf(cookie);
  if (highRes) all += " " + highRes->path;
  for (const DemoFile* proxy : proxies) all += " " + proxy->path;
  return all;
}

std::vector<std::string> DemoEntry::wordsFound() {
  std::vector<std::string> found;
  SystemCache::enumerate([&found](const Cookie& cookie, const FsysDirectoryEntry& entry) {
    std::string all = textOf(cookie);
    if (entry.hasHighRes()) all += " " + bytesOf(entry.primaryFilename().getOsPath());
    for (const MediaFileInfo& proxy : entry.getProxyFiles())
      all += " " + bytesOf(proxy.getLinkFileName());
    found.push_back(all);
    return true;
  });
  return found;
}
