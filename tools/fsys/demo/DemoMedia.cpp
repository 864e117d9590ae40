#include "tools/fsys/demo/DemoMedia.h"

#include <utility>

#include "fsys/MediaName.h"
#include "platform/PathHelpers.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/ProxyFacts.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/demo/DemoInventory.h"

namespace {

constexpr const char* kDoing = "looking for media in";

void addTo(DemoShot& shot, const DemoFile& file) {
  if (file.height > 0) {
    shot.proxies.push_back(file);
  } else if (file.cookie.getType() == eCookieSound) {
    shot.sounds.push_back(file);
  } else if (shot.vision.source.empty()) {
    shot.vision = file;
  } else {
    throw ToolError(ExitCode::eUsage, kDoing, folderOf(file.source),
                    textOf(file.cookie) + " is there twice");
  }
}

void require(const std::string& folder, const DemoShot& shot) {
  std::string whose = "shot of " + textOf(shot.vision.cookie) + ": ";
  for (size_t i = 0; i < DemoMedia::kSounds; ++i) {
    Cookie wanted =
        convertCookie(shot.vision.cookie, eCookieSound, static_cast<unsigned char>(i + 1));
    if (i >= shot.sounds.size() || !(shot.sounds[i].cookie == wanted))
      throw ToolError(ExitCode::eNotFound, kDoing, folder, whose + "there is no " + textOf(wanted));
  }
  size_t proxies = shot.proxies.size();
  if (proxies > 0 && proxies < DemoMedia::kProxies)
    throw ToolError(ExitCode::eNotFound, kDoing, folder,
                    whose + text("%zu proxy, expected %zu", proxies, DemoMedia::kProxies));
}

void requireCount(const std::string& folder, const char* what, size_t found, size_t wanted) {
  if (found >= wanted) return;
  throw ToolError(ExitCode::eNotFound, kDoing, folder,
                  text("found %zu %s, expected %zu", found, what, wanted));
}

}  // namespace

// In the order of their names: so the sound of a shot is in the order of its channels.
DemoMedia::Shots DemoMedia::shotsIn(const std::string& folder) {
  Shots shots;
  for (const std::string& path : DemoInventory::filesIn(folder)) {
    PathString name = fromUTF8(std::string_view(lastPartOf(path)));
    DemoFile file;
    file.source = path;
    file.bytes = factsOf(path).size;
    file.cookie = MediaName(name, file.bytes).cookie;
    if (!file.cookie.isValid()) continue;
    ProxyFacts proxy(name);
    if (proxy.hasHeight) file.height = proxy.height;
    file.channels = proxy.channels;
    addTo(shots[convertCookie(file.cookie, eCookieVision, 0)], file);
  }
  return shots;
}

DemoMedia::DemoMedia(const std::string& folder) {
  Shots shots = shotsIn(folder);
  for (auto& [cookie, shot] : shots) {
    if (shot.vision.source.empty())
      throw ToolError(ExitCode::eNotFound, kDoing, folder, "there is no " + textOf(cookie));
    take(folder, shot);
  }
  requireCount(folder, "shots without proxies", older.size(), kOlder);
  requireCount(folder, "shots with proxies", recorded.size(), kRecorded);
}

void DemoMedia::take(const std::string& folder, DemoShot& shot) {
  require(folder, shot);
  bool isRecorded = !shot.proxies.empty();
  std::vector<DemoShot>& into = isRecorded ? recorded : older;
  if (into.size() == (isRecorded ? kRecorded : kOlder)) return;
  shot.sounds.resize(kSounds);
  if (isRecorded) shot.proxies.resize(kProxies);
  into.push_back(std::move(shot));
}

std::vector<DemoShot*> DemoMedia::shots() {
  std::vector<DemoShot*> all;
  all.reserve(older.size() + recorded.size());
  for (DemoShot& shot : older) all.push_back(&shot);
  for (DemoShot& shot : recorded) all.push_back(&shot);
  return all;
}

std::vector<DemoFile*> DemoMedia::files() {
  std::vector<DemoFile*> all;
  for (DemoShot* shot : shots()) {
    for (DemoFile* file : shot->channels()) all.push_back(file);
    for (DemoFile& proxy : shot->proxies) all.push_back(&proxy);
  }
  return all;
}
