#include "tools/fsys/FolderWatch.h"

#include <algorithm>
#include <iterator>

#include "platform/DriveErrand.h"

namespace {

using Listing = Vector<iFileManager::ListedFile>;

// A link in the place of media, or media in that of a link, is another file.
bool isBefore(const FolderWatch::File& a, const FolderWatch::File& b) {
  if (a.name.view() != b.name.view()) return a.name.view() < b.name.view();
  return a.isLink() < b.isLink();
}

}  // namespace

FolderWatch::Changes FolderWatch::look() {
  std::vector<File> now;
  Changes changes;
  if (!list(now)) return changes;
  std::set_difference(now.begin(), now.end(), files_.begin(), files_.end(),
                      std::back_inserter(changes.come), &isBefore);
  std::set_difference(files_.begin(), files_.end(), now.begin(), now.end(),
                      std::back_inserter(changes.gone), &isBefore);
  files_.swap(now);
  changes.isFirst = !wasSeen_;
  wasSeen_ = true;
  return changes;
}

void FolderWatch::goOnFrom(FolderWatch& other) {
  files_.swap(other.files_);
  wasSeen_ = other.wasSeen_;
}

// A folder that is not there has no files, if its drive is there.
bool FolderWatch::list(std::vector<File>& files) const {
  auto listing = askDrive(osPath_, [path = osPath_, root = root_] {
    Listing found;
    iFileManager* manager = OS()->getFileManager();
    bool isListed =
        manager->listFiles(path + L"*.*", found) ||
        (OS()->getErrors()->getLastError() == eOsNotFound && manager->folderExists(root));
    return isListed ? std::optional(found) : std::nullopt;
  });
  if (!listing || !*listing) return false;
  for (const iFileManager::ListedFile& file : **listing) {
    MediaName media(file.name, file.bytes);
    if (media.verdict == MediaName::eMedia) files.push_back({file.name, file.bytes, media.cookie});
  }
  std::sort(files.begin(), files.end(), &isBefore);
  return true;
}

MaterialFilename FolderWatch::nameOf(const File& file) const {
  return {folder_.getDrive(), folder_.getPath() + file.name};
}
