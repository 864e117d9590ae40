// Folders that are listed, and what of their files is media.
#include <algorithm>
#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "fsys/CookieMap.h"
#include "fsys/DiskManager.h"
#include "fsys/DriveQuestions.h"
#include "fsys/MediaName.h"
#include "fsys/ProxyName.h"
#include "fsys/SystemCache.h"
#include "platform/Clocks.h"
#include "platform/CriticalSection.h"
#include "platform/DriveErrand.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"

namespace {

using Text = SystemCache::Text;
using Files = Vector<iFileManager::ListedFile>;

constexpr char kRule[] = "-------------------------------------------------------\n";

// What lies beside media: indices, peaks, and files that are still being written.
constexpr std::array<std::wstring_view, 10> kEndings{L".partial", L".qvix",    L".qaix", L".qvix2",
                                                     L".qaix2",   L".vix",     L".aix",  L".vix2",
                                                     L".aix2",    L".reapeaks"};

void logUnscanned(const Text& path, const char* why) {
  Log("%s is not scanned: %s (error %u)\n", toUTF8(path).c_str(), why,
      OS()->getErrors()->getLastError());
}

// Whether a listing may find something. A drive that is only slow, as a disk that starts to turn,
// is waited for.
bool isWorthListing(const Text& path) {
  if (path.empty()) return true;
  const std::optional<bool> isThere = askDrive(
      path, [path] { return OS()->getFileManager()->folderExists(path); },
      DriveQuestions::kMakePatience_ms);
  if (!isThere) logUnscanned(path, "its drive does not answer");
  return isThere.value_or(false);
}

// None where the folder or its drive is away.
Files listed(const Text& path, const Text& pattern) {
  Files files;
  if (isWorthListing(path) && !OS()->getFileManager()->listFiles(pattern, files))
    logUnscanned(path, "it cannot be listed");
  return files;
}

MaterialFilename folderOn(DriveId drive, CookieType type) {
  const wchar_t separator = OS()->getFileManager()->getSeparator();
  return {drive, Text(&separator, 1) + MediaDrive::getFolder(type) + separator};
}

void logAdded(const MaterialFilename& folder) {
  LogBoth("Added media location : %s\n", toUTF8(folder.getOsPath()).c_str());
}

}  // namespace

// FolderScan: one folder on its way into the catalogue, and the lines about it.
class FolderScan {
public:
  FolderScan(const MaterialFilename& folder, bool isLogged)
      : drive_(folder.getDrive()),
        path_(joinPaths(folder.getPath(), Text()).view()),
        folderLength_(path_.size()),
        isLogged_(isLogged) {}

  // Before the lock is taken. Whether a file in such a folder is a proxy of the older form is a
  // question to the disk; in others it is none, since no cookie's text begins like that.
  void askAbout(const Files& files) {
    if (!ProxyName::isOlderForm(path_)) return;
    for (const iFileManager::ListedFile& file : files)
      if (MediaName(file.name, file.bytes).verdict == MediaName::eMedia)
        asked_.push_back(made(file.name, file.bytes));
  }
  // Of each file that is media, in their order.
  MediaFileInfo infoOf(const Text& file, uint64_t bytes) {
    return asked_.empty() ? made(file, bytes) : asked_[next_++];
  }
  // `what` ends in the bracket that the name closes.
  void say(const char* what, const Text& file) const {
    if (isLogged_) Log("%s%s)\n", what, toUTF8(file).c_str());
  }

private:
  MediaFileInfo made(const Text& file, uint64_t bytes) {
    path_.resize(folderLength_);
    path_ += file.view();
    return {MaterialFilename(drive_, Text(std::wstring_view(path_))), bytes};
  }

  DriveId drive_;
  std::wstring path_;  // the folder's, and behind it the last file's name
  size_t folderLength_;
  bool isLogged_;
  std::vector<MediaFileInfo> asked_;
  size_t next_ = 0;
};

bool SystemCache::isEligible(const Text& name) {
  return std::none_of(kEndings.begin(), kEndings.end(),
                      [&name](std::wstring_view ending) { return name.view().ends_with(ending); });
}

void SystemCache::initialise(bool force) {
  CriticalSectionLock lock(initialising_);
  if (isInitialised_ && !force) return;
  isInitialised_.set(false);
  invalidate();
  DriveId id;
  for (bool more = DiskManager::getFirstMaterialVolume(id); more;
       more = DiskManager::getNextMaterialVolume(id))
    addMediaLocation(id);
  isInitialised_.set(true);
}

void SystemCache::addMediaLocation(DriveId id) {
  const MaterialFilename material = folderOn(id, eCookieVision);
  const MaterialFilename sound = folderOn(id, eCookieSound);
  addDirectory(material);
  addDirectory(sound);
  logAdded(material);
  logAdded(sound);
}

void SystemCache::addDirectory(const MaterialFilename& folder) {
  const bool isLogged = debug_ != 0;
  const double start_ms = Qv::now();
  const Text path = folder.getOsPath();
  const Text pattern = path + L"*.*";
  if (isLogged) {
    Log("%s", kRule);
    Log("SystemCache::addDirectory( %s )\n", toUTF8(pattern).c_str());
  }
  const Files files = listed(path, pattern);
  if (isLogged) Log("Num files %d\n", static_cast<int>(files.size()));
  FolderScan scan(folder, isLogged);
  scan.askAbout(files);
  SharedCriticalSectionLock lock(lock_);
  for (const iFileManager::ListedFile& file : files) mergeFileLocked(scan, file.name, file.bytes);
  const double taken_ms = Qv::now() - start_ms;
  ++tally_.folders;
  tally_.seen += files.size();
  tally_.time_ms += taken_ms;
  if (!isLogged) return;
  Log("Time taken (%.1fms)\n", taken_ms);
  Log("%s", kRule);
}

void SystemCache::mergeFileLocked(FolderScan& scan, const Text& name, uint64_t bytes) {
  const MediaName media(name, bytes);
  switch (media.verdict) {
    case MediaName::eEmpty:
      ++tally_.empty;
      return scan.say("skipped empty file (", name);
    case MediaName::eIneligible:
      ++tally_.ineligible;
      return scan.say("skipped ineligible file (", name);
    case MediaName::eNoCookie:
      ++tally_.notCookies;
      return scan.say("skipped non-cookie file (", name);
    default:
      break;
  }
  const Entry found = files_.find(media.cookie);
  const MediaFileInfo info = scan.infoOf(name, bytes);
  addLocked(media.cookie, info, info.wasProxy(), found, false);
  ++(found ? tally_.augmented : tally_.added);
  scan.say(found ? "augmented cache entry (" : "added cache entry     (", name);
}

ScanTally SystemCache::getScanTally() {
  SharedCriticalSectionRead lock(lock_);
  return tally_;
}

void SystemCache::removeMediaLocation(DriveId id) {
  std::vector<Entry> gone;  // after the lock: many take their time
  SharedCriticalSectionLock lock(lock_);
  gone =
      files_.removeIf([id](const FsysDirectoryEntry& entry) { return entry.highResDrive() == id; });
}
