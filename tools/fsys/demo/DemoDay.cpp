#include "tools/fsys/demo/DemoDay.h"

#include <algorithm>

#include "fsys/DiskManager.h"
#include "fsys/NetLogin.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/demo/DemoInventory.h"

DemoDay::DemoDay(DemoMedia& ofMedia, const DemoFolders& inFolders)
    : media(ofMedia),
      folders(inFolders),
      project(inFolders.project()),
      copier({static_cast<uint32_t>(Limits::kDefaultBlock), Limits::kDefaultReadsInFlight,
              Limits::kDefaultWritesInFlight, false}),
      ownPreferences("XDG_CONFIG_HOME", inFolders.settings()) {
  for (size_t i = 0; i < drives.size(); ++i) drives[i].root = inFolders.drive(i);
}

// Files that a failure has left open are closed before the engine ends.
DemoDay::~DemoDay() {
  stream = DemoStream();
  news.reset();
  NetLogout();
  engine.reset();
  DiskManager::deInit();
  SystemCache::invalidate();
}

std::vector<std::string> DemoDay::expectedFiles() {
  std::vector<std::string> names = {nameFile};
  for (const DemoFile* file : media.files())
    names.insert(names.end(), {file->path, file->target, file->beside});
  std::erase(names, "");
  std::sort(names.begin(), names.end());
  return names;
}

void DemoDay::checkTold(const std::string& expected, DemoChecks& checks) {
  checks.same("what was told", expected, news ? news->take() : "");
}

void DemoDay::checkFiles(DemoChecks& checks) {
  std::vector<std::string> found;
  for (const DemoDrive& drive : drives)
    for (std::string& name : DemoInventory::filesBelow(drive.root)) found.push_back(name);
  std::sort(found.begin(), found.end());
  std::vector<std::string> expected = expectedFiles();
  auto [missing, extra] =
      std::mismatch(expected.begin(), expected.end(), found.begin(), found.end());
  bool isMissing = missing != expected.end() && (extra == found.end() || *missing < *extra);
  if (isMissing) checks.isThere(*missing, true, false);
  if (!isMissing && extra != found.end()) checks.isThere(*extra, false, true);
  checks.add(expected.size());
}
