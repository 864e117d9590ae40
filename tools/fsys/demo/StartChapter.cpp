#include "tools/fsys/demo/StartChapter.h"

#include "fsys/DiskManager.h"
#include "fsys/Fsys.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/demo/DemoEntry.h"

StartChapter::StartChapter() : DemoChapter("start", "starting the engine and the registry") {}

void StartChapter::run(DemoDay& day, DemoStep& step) {
  step.checks.isThere("the engine before the start", false, theFsys != nullptr);
  day.engine.emplace();
  step.checks.isThere("the engine", true, theFsys != nullptr);
  day.project.make();
  SystemCache::invalidate();
  day.news.emplace();
  constexpr bool kNoDiscovery = true;
  DiskManager::init(day.project.path(), kNoDiscovery);
  day.checkTold(DemoNews::of(DemoNews::kLocations, 1), step.checks);
  step.checks.same("media drives at the start", uint64_t{0}, MediaDrives::all().size());
  step.checks.same("entries at the start", uint64_t{0}, DemoEntry::wordsFound().size());
  step.what = "engine, registry of drives, catalogue";
  step.amount = "0 drives";
}
