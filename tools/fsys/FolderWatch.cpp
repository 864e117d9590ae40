#include "tools/fsys/FolderWatch.h"

#include <algorithm>
#include <atomic>
#include <iterator>

#include "platform/Clocks.h"
#include "platform/DriveErrand.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Interrupt.h"

namespace {

// A large folder on a network takes its time.
constexpr double kPatience_ms = 30000;
constexpr double kPause_ms = 20;

// A link in the place of media, or media in that of a link, is another file.
bool isBefore(const FolderWatch::File& a, const FolderWatch::File& b) {
  if (a.name.view() != b.name.view()) return a.name.view() < b.name.view();
  return a.isLink() < b.isLink();
}

}  // namespace

// Listing: what is read of the folder, on a thread of its drive's; read by the asker once that has
// ended.
struct FolderWatch::Listing {
  std::atomic<bool> isBegun{false};
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
  isSilent_ = !askForListing(listing);
  if (isSilent_ || !listing->isListed) return false;
  for (const iFileManager::ListedFile& file : listing->files) {
    MediaName media(file.name, file.bytes);
    if (media.verdict == MediaName::eMedia) files.push_back({file.name, file.bytes, media.cookie});
  }
  return true;
}

// False when the drive does not answer. A listing that goes on is waited for, as long as nobody
// wants the end: meanwhile its drive refuses everything else.
bool FolderWatch::askForListing(const std::shared_ptr<Listing>& listing) const {
  auto work = [path = osPath_, root = root_, listing] {
    listing->isBegun = true;
    listing->read(path, root);
    return true;
  };
  bool isAnswered = askDrive(osPath_, work).has_value();
  double end_ms = Qv::now() + kPatience_ms;
  while (!isAnswered && listing->isBegun && Qv::now() < end_ms) {
    Interrupt::wait(-1, kPause_ms);
    isAnswered = askDrive(osPath_, [] { return true; }).has_value();
  }
  return isAnswered;
}

MaterialFilename FolderWatch::nameOf(const File& file) const {
  return {folder_.getDrive(), folder_.getPath() + file.name};
}
