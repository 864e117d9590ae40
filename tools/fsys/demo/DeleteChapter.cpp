#include "tools/fsys/demo/DeleteChapter.h"

#include <list>

#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

std::vector<std::string> filesOfShot(const Cookie& cookie) {
  Vector<PathString> files;
  SystemCache::getFilesForShot(cookie, files);
  std::vector<std::string> names;
  for (const PathString& file : files) names.push_back(bytesOf(file));
  return names;
}

}  // namespace

DeleteChapter::DeleteChapter() : DemoChapter("delete", "deleting a shot") {}

// Proxies that serve its sound went with the picture: of those its entry only has to be told.
void DeleteChapter::remove(const DemoFile& file, DemoStep& step) {
  if (file.cookie.getType() == eCookieSound) {
    std::list<MediaFileInfo> proxies;
    SystemCache::getProxyFiles(file.cookie, proxies);
    for (const MediaFileInfo& proxy : proxies) SystemCache::removeProxyFile(file.cookie, proxy);
  }
  if (!SystemCache::removeFile(file.cookie, true, eHighRes | eProxy))
    throw ToolError(ExitCode::eIo, "deleting", file.path, "it could not be deleted");
  step.checks.isThere("the entry of " + textOf(file.cookie), false,
                      static_cast<bool>(SystemCache::findEntryForCookie(file.cookie)));
}

void DeleteChapter::run(DemoDay& day, DemoStep& step) {
  DemoShot& shot = day.media.recorded[1];
  std::vector<DemoFile*> channels = shot.channels();
  std::vector<std::string> known = filesOfShot(shot.vision.cookie);
  step.checks.same("files of the shot " + shot.name(), channels.size(), known.size());
  size_t before = day.expectedFiles().size();
  for (size_t i = 0; i < channels.size(); ++i) {
    step.checks.same("a file of the shot " + shot.name(), channels[i]->path, known[i]);
    remove(*channels[i], step);
    channels[i]->forgetName();
  }
  for (DemoFile& proxy : shot.proxies) proxy.forgetName();
  day.checkTold(DemoNews::of(DemoNews::kRemoved, channels.size()), step.checks);
  day.checkFiles(step.checks);
  step.checks.same("files of the shot " + shot.name(), uint64_t{0},
                   filesOfShot(shot.vision.cookie).size());
  step.what = shot.name() + ", its proxies and what lay beside";
  step.amount = text("%zu files", before - day.expectedFiles().size());
}
