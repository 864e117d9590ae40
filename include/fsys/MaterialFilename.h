#pragma once

#include "fsys/DriveId.h"
#include "fsys/Export.h"
#include "platform/LightweightString.h"

// MaterialFilename: the name of one media file: a drive, and a path on it.
// Threads    a value. getOsPath asks the registry, as its look-ups do.
// Ownership  copies share the path's text.
// Errors     those of getOsPathToChange.
class FSYS_EXPORT MaterialFilename {
public:
  MaterialFilename() = default;
  MaterialFilename(const DriveId& drive, const LightweightString<wchar_t>& path)
      : drive_(drive), path_(path) {}

  const DriveId& getDrive() const { return drive_; }
  // As it was given, without the drive.
  const LightweightString<wchar_t>& getPath() const { return path_; }
  // The drive's local name in the raw form, joined with the path; the path alone when that drive is
  // not registered, so that a name without a drive can hold a whole path.
  LightweightString<wchar_t> getOsPath() const;
  // The same for whoever is about to change what lies there. False, with eOsNotFound as the
  // thread's last error, and `path` left alone, when it has a drive and that is not registered: the
  // path alone is another disk's.
  bool getOsPathToChange(LightweightString<wchar_t>& path) const;
  // Puts '.' and `extension` in the place of the extension.
  // Kept       the dot is always put: an empty extension leaves a dot at the end
  //            (MaterialFilenameTest.TheDotIsAlwaysPut).
  void setExtension(const LightweightString<wchar_t>& extension);

private:
  friend struct LayoutPeer;

  // Fixed order.
  DriveId drive_;
  LightweightString<wchar_t> path_;
};

// The first two characters of a path whose first ':' is its second character; otherwise empty.
FSYS_EXPORT LightweightString<wchar_t> getDrive(const LightweightString<wchar_t>& path);
// Whether a path is a character, ':', the separator, and a name that begins with "Material" or
// "Sound" in any case.
// Kept       only the beginning of the name counts
//            (MaterialFilenameTest.OnlyTheBeginningOfAMediaFoldersNameCounts).
FSYS_EXPORT bool isValidFsysMediaFolderPath(const LightweightString<wchar_t>& path);
