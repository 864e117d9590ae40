#pragma once

#include <optional>
#include <vector>

#include "fsys/MaterialFilename.h"
#include "fsys/MaterialLink.h"
#include "fsys/MediaName.h"
#include "platform/PathHelpers.h"

// FolderWatch: the media files of one media folder, as they were when it was last looked at.
// Story      The first look that finds the folder's drive tells all that is there, and so does the
//            first after another disk was mounted there, or its own unmounted; each other tells
//            what has come and gone since the one before.
// Threads    one.
// Units      bytes.
class FolderWatch {
public:
  struct File {
    PathString name;
    uint64_t bytes = 0;
    Cookie cookie;

    bool isLink() const { return bytes == MaterialLink::kBytes; }
  };
  struct Changes {
    std::vector<File> come;
    std::vector<File> gone;
    bool isFirst = false;
  };

  // Its path on the drive, with a separator at its end; the drive's own.
  FolderWatch(const MaterialFilename& folder, const PathString& root)
      : folder_(folder), osPath_(folder.getOsPath()), root_(root) {}

  // Nothing has changed in a folder whose drive is away or does not answer. A drive that takes its
  // time is waited for; throws when the end is asked for meanwhile.
  Changes look();
  // Whether the drive did not answer when it was last looked at.
  bool isSilent() const { return isSilent_; }
  MaterialFilename nameOf(const File& file) const;
  PathString pathOf(const File& file) const { return osPath_ + file.name; }
  const PathString& osPath() const { return osPath_; }
  // Goes on from what another has seen there, whose drive had another code.
  void goOnFrom(FolderWatch& other);

private:
  struct Listing;

  bool list(std::vector<File>& files);

  MaterialFilename folder_;
  PathString osPath_;
  PathString root_;
  std::optional<PathString> disk_;  // where its files were seen, if they were
  bool isSilent_ = false;
  std::vector<File> files_;  // sorted by name
};
