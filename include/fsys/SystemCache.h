#pragma once

#include "fsys/DriveId.h"
#include "fsys/Export.h"

// SystemCache: the catalogue of the media on the registered drives, which come and go.
// Threads    any.
class FSYS_EXPORT SystemCache {
public:
  // A drive was registered. '0': a location could not be.
  static void addMediaLocation(DriveId id);
  // A drive is about to go.
  static void removeMediaLocation(DriveId id);

  // Who listens beside the catalogue; null: nobody.
  using Watcher = void (*)(DriveId id, bool added);
  static void setWatcher(Watcher watcher);
};
