#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/OsDrives.h"
#include "tools/fsys/Json.h"
#include "tools/fsys/LocationList.h"
#include "tools/fsys/Table.h"

// DriveEntry: one drive or location, as it is shown.
struct DriveEntry {
  std::string root;
  const char* kind = "";
  std::string fileSystem;  // empty: not known
  bool hasSpace = false;
  uint64_t freeBytes = 0;
  uint64_t totalBytes = 0;
  bool isOnline = false;
  bool isExcluded = false;
  std::string drive;  // the code, of a media drive
  std::string name;
  std::string why;  // it is a media drive, or is not

  // Whether anything but the space is the same.
  bool isAs(const DriveEntry& other) const;
  Json json() const;
  // "fixed, ext4, online: media drive '1'".
  std::string words() const;
};

// DriveReport: every drive that is mounted, and the registered locations that are no drives of
// their own.
// Story      Made from the registry, the lists and the system's drives as they are now.
// Threads    one; the registry does not change meanwhile.
class DriveReport {
public:
  explicit DriveReport(const LocationLists& lists);

  std::vector<DriveEntry> entries;

  // Without those that are excluded.
  std::vector<DriveEntry> places() const;
  static Table table(const std::vector<DriveEntry>& entries);

private:
  void addDisks(const LocationLists& lists);
  void addLocations();
  void addMissing();
  bool has(const std::string& root) const;
};
