#pragma once

#include <array>
#include <optional>
#include <string>
#include <vector>

#include "tools/fsys/EngineSession.h"
#include "tools/fsys/FileCopier.h"
#include "tools/fsys/ProjectFolder.h"
#include "tools/fsys/demo/DemoChecks.h"
#include "tools/fsys/demo/DemoDrive.h"
#include "tools/fsys/demo/DemoFolders.h"
#include "tools/fsys/demo/DemoMedia.h"
#include "tools/fsys/demo/DemoNews.h"
#include "tools/fsys/demo/DemoStream.h"
#include "tools/fsys/demo/OwnVariable.h"

// DemoDay: what the chapters of the demo share: the media, the drives, and what ought to be where.
// Story      Each chapter does something with the library, writes down here what is to be true from
//            then on, and compares. Preferences are those of the day's own folder; settings of the
//            engine, which were read before, are the user's.
// Threads    the main thread.
// Ownership  uses the media and the folders. Whatever ends the day, the engine and the registry end
//            with it, nobody stays logged in, and no drive stays away.
struct DemoDay {
  DemoDay(DemoMedia& ofMedia, const DemoFolders& inFolders);
  ~DemoDay();
  DemoDay(const DemoDay&) = delete;
  DemoDay& operator=(const DemoDay&) = delete;

  // Of the first of the two what is recorded; on the other its proxies.
  DemoDrive& recordDrive() { return drives[0]; }
  DemoDrive& otherDrive() { return drives[1]; }
  // Every file that ought to lie on the drives now, in the order of the names.
  std::vector<std::string> expectedFiles();
  // Compares what was told since it was compared last.
  void checkTold(const std::string& expected, DemoChecks& checks);
  // Compares what ought to lie on the drives with what lies there.
  void checkFiles(DemoChecks& checks);

  DemoMedia& media;
  const DemoFolders& folders;
  double seconds = 0;
  bool wantsProgress = false;
  std::array<DemoDrive, 2> drives;
  ProjectFolder project;
  FileCopier copier;
  std::string nameFile;  // the one with the name of a drive, once that has one
  DemoStream stream;
  uint64_t checkedBytes = 0;  // against their sources

  OwnVariable ownPreferences;
  std::optional<EngineSession> engine;
  std::optional<DemoNews> news;
};
