#include "tools/fsys/NetworkName.h"

#include "platform/OS.h"
#include "platform/TextHelpers.h"
#include "tools/fsys/MediaDrives.h"

namespace {

constexpr wchar_t kNetworkSeparator = L'\\';

bool isSeparator(wchar_t character) {
  return character == kNetworkSeparator || character == OS()->getFileManager()->getSeparator();
}

// LongestMatch: of the places that a name may lie in, the one with the longest name.
class LongestMatch {
public:
  explicit LongestMatch(const PathString& name) : name_(name) {}

  void offer(const PathString& prefix, const PathString& folder, DriveId drive) {
    if (prefix.length() <= length_) return;
    std::optional<PathString> rest = restBehind(name_, prefix);
    if (!rest) return;
    length_ = prefix.length();
    folder_ = getPath(withSeparator(folder));
    best_ = {rest->empty() ? folder_ : joinPaths(folder_, fixForeignOSFileName(*rest)), drive};
  }
  // Nothing as well when it leads out of its folder again.
  std::optional<LocalName> best() const {
    if (length_ == 0) return std::nullopt;
    PathString resolved = getPath(withSeparator(best_.path));
    bool isInside = resolved.view().substr(0, folder_.length()) == folder_.view();
    return isInside ? std::optional(best_) : std::nullopt;
  }
  bool isEmpty() const { return length_ == 0; }

private:
  const PathString name_;
  size_t length_ = 0;
  PathString folder_;
  LocalName best_;
};

}  // namespace

std::optional<PathString> restBehind(const PathString& name, const PathString& prefix) {
  std::wstring_view begin = prefix.view();
  while (!begin.empty() && isSeparator(begin.back())) begin.remove_suffix(1);
  if (begin.empty() || !startsWithNoCase(name.view(), begin)) return std::nullopt;
  PathString rest = name.substr(begin.size());
  if (!rest.empty() && !isSeparator(rest[0])) return std::nullopt;
  return rest;
}

std::optional<LocalName> localNameOf(const PathString& name) {
  LongestMatch match(name);
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all()) {
    PathString folder = DiskManager::getMaterialVolumeName(drive->getId(), true);
    match.offer(drive->getUncName(), folder, drive->getId());
  }
  if (!match.isEmpty()) return match.best();
  PathString workstation = OS()->getSystemInfo()->getWorkstationName();
  for (const iFileManager::Share& share : OS()->getFileManager()->getShares(workstation))
    match.offer(share.uncName, share.localPath, DriveId());
  return match.best();
}
