#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "platform/Cookie.h"
#include "platform/PathHelpers.h"
#include "tools/fsys/Json.h"

// MediaFile: one file of an entry of the catalogue, as it is shown.
// Story      Read from an entry. Where a link leads is read from the disk, unless it was before; a
//            drive that is silent is not waited for.
// Threads    the main thread; nobody changes the entry meanwhile.
// Units      bytes, lines of a picture.
struct MediaFile {
  static constexpr uint32_t kNoHeight = 0xFFFFFFFF;  // of a proxy that has none in its name

  enum eState : uint32_t { eUnknown = 0, eMissing = 1, ePresent = 2, eSilent };

  MaterialFilename name;
  PathString path;  // its own
  uint64_t bytes = 0;
  bool isHighRes = false;
  bool isProxy = false;  // neither: a copy, which another high-resolution file has displaced
  bool isLink = false;
  PathString target;  // of a link
  uint32_t height = 0;
  uint32_t channels = 0;
  eState state = eUnknown;

  // The high-resolution file, if there is one, then the proxies and copies in their order.
  static std::vector<MediaFile> allOf(FsysDirectoryEntry& entry);

  // "high-resolution", "proxy" or "high-resolution copy".
  const char* kind() const;
  // "there", "missing", "no answer" or "not known".
  const char* stateWord() const;
  // Whose file it is: its name's cookie, and the sound cookies of a proxy with sound.
  std::vector<Cookie> cookies() const;
  // Whether its drive, and that of what it leads to, answer now.
  bool answers() const;
  void put(Json& json) const;
};

// Of those in an entry's list: the others are copies.
size_t countProxies(const FsysDirectoryEntry& entry);
// Whether every file of the entry that was not looked for yet can be looked for: then the library,
// which waits for a drive as long as it takes, may be asked.
bool allAnswer(FsysDirectoryEntry& entry);
