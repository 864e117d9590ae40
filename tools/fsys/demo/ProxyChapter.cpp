#include "tools/fsys/demo/ProxyChapter.h"

#include "fsys/MediaFileInfo.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/Text.h"

namespace {

// The name of the media, as if it lay on that drive, with what a proxy has in it.
MaterialFilename nameOn(const MediaDrive& drive, const DemoFile& proxy) {
  PathString extension = fromUTF8(std::string_view(proxy.extension()));
  PathString media = drive.getFsysLocation(proxy.cookie, extension).getPath();
  return {drive.getId(), MediaFileInfo::makeProxyName(media, extension, proxy.height,
                                                      static_cast<unsigned char>(proxy.channels))};
}

}  // namespace

ProxyChapter::ProxyChapter() : DemoChapter("proxies", "making proxies of two sizes") {}

void ProxyChapter::run(DemoDay& day, DemoStep& step) {
  Progress progress("making proxies", 0, day.wantsProgress);
  Qv::Ptr<MediaDrive> drive = day.otherDrive().registered();
  uint64_t files = 0;
  for (DemoShot& shot : day.media.recorded) {
    for (DemoFile& proxy : shot.proxies) {
      proxy.setName(nameOn(*drive, proxy));
      step.checks.same("the name of a proxy", lastPartOf(proxy.source), lastPartOf(proxy.path));
      step.bytes += day.copier.copy(proxy.source, proxy.path, progress);
      SystemCache::addFile(proxy.cookie, proxy.name, true);
      std::list<MediaFileInfo> known;
      SystemCache::getProxyFiles(proxy.cookie, known);
      step.checks.same("the height of " + proxy.path, uint64_t{proxy.height},
                       known.empty() ? 0 : known.back().proxyHeight());
      ++files;
    }
  }
  day.checkTold(DemoNews::of(DemoNews::kProxyAdded, files), step.checks);
  step.what = "two sizes of each recorded shot";
  step.amount = text("%llu files", static_cast<unsigned long long>(files));
}
