#include "tools/fsys/FolderWatch.h"

#include <algorithm>
#include <iterator>
#include <memory>

#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"

namespace {

// A link in the place of media, or media in that of a link, is another file.
bool isBefore(const FolderWatch::File& a, const FolderWatch::File& b) {
  if (a.name.view() != b.name.view()) return a.name.view() < b.name.view();
  return a.isLink() < b.isLink();
}

}  // namespace

// Listing: what is read of the folder, on a thread of its drive's; read by the asker once that has
// ended.
struct FolderWatch::Listing {
  bool isListed = false;
  Vector<iFileManager::ListedFile> files;

  // A folder that is not there has no files, if its drive is there.
  void read(const PathString& path, const PathString& root) {
    iFileManager* manager = OS()->getFileManager();
    isListed = manager->listFiles(path + L"*.*", files) ||
               (OS()->getErrors()->getLastError() == eOsNotFound && manager->folderExists(root));
  }
};

// Which disk it is, is asked behind the listing: what was unmounted by then is not gone.
FolderWatch::Changes FolderWatch::look() {
  std::vector<File> now;
  Changes changes;
  if (!list(now)) return changes;
  PathString disk = diskOf(root_);
  changes.isFirst = disk_ != disk;
  if (changes.isFirst) files_.clear();
  std::set_difference(now.begin(), now.end(), files_.begin(), files_.end(),
                      std::back_inserter(changes.come), &isBefore);
  std::set_difference(files_.begin(), files_.end(), now.begin(), now.end(),
                      std::back_inserter(changes.gone), &isBefore);
  files_.swap(now);
  disk_ = disk;
  return changes;
}

void FolderWatch::goOnFrom(FolderWatch& other) {
  files_.swap(other.files_);
  disk_ = other.disk_;
  isSilent_ = other.isSilent_;
}

bool FolderWatch::list(std::vector<File>& files) {
  auto listing = std::make_shared<Listing>();
  auto read = [path = osPath_, root = root_, listing] { listing->read(path, root); };
  bool isRead = doOnDrive(osPath_, read);
  isSilent_ = !isRead && OS()->getErrors()->getLastError() != eOsNoMemory;
  if (!isRead || !listing->isListed) return false;
  for (const iFileManager::ListedFile& file : listing->files) {
    MediaName media(file.name, file.bytes);
    if (media.verdict == MediaName::eMedia) files.push_back({file.name, file.bytes, media.cookie});
  }
  return true;
}

MaterialFilename FolderWatch::nameOf(const File& file) const {
  return {folder_.getDrive(), folder_.getPath() + file.name};
}
