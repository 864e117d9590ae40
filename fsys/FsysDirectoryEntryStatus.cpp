// Which file serves, and which are there.

#include <algorithm>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/LinkTarget.h"
#include "platform/Check.h"
#include "platform/OS.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr unsigned kBothTypes = eHighRes | eProxy;

uint32_t statusOf(bool isThere) {
  return isThere ? MediaFileInfo::ePresent : MediaFileInfo::eMissing;
}

// `path`: the file's own, or where it leads as a link.
bool exists(const MediaFileInfo& file, const Text& path) {
  const Text local = MaterialLink::localTarget(path);
  const bool isNamed = hasOwnFolder(local) || path == file.getLinkFileName();
  return isNamed && OS()->getFileManager()->exists(local);
}

}  // namespace

template <typename Match>
bool FsysDirectoryEntry::takeProxy(const Match& matches, MediaFileInfo& file) const {
  SmallLockScope lock(lock_);
  auto found = std::find_if(proxyFiles_.begin(), proxyFiles_.end(), matches);
  if (found == proxyFiles_.end()) return false;
  file = *found;
  return true;
}

// Looking for the files --------------------------------------------------------------------------

MediaFileInfo FsysDirectoryEntry::probedHighRes() const {
  MediaFileInfo file = highResFile();
  if (file.getStatus() != MediaFileInfo::eNotProbed) return file;
  const bool isFile = file.getSize() == MaterialLink::kBytes || isPresent(file);
  file.setStatus(statusOf(isFile && exists(file, file.getPhysicalFilename(false))));
  keepHighRes(file);
  return file;
}

void FsysDirectoryEntry::probeProxies() const {
  auto isUnprobed = [](const MediaFileInfo& file) {
    return file.getStatus() == MediaFileInfo::eNotProbed;
  };
  if (MediaFileInfo file; !takeProxy(isUnprobed, file)) return;
  Files files;
  copyProxyFiles(files);
  for (MediaFileInfo& file : files) {
    if (!isUnprobed(file)) continue;
    file.setStatus(statusOf(exists(file, file.readLinkedFilename())));
    keepProxy(file);
  }
}

unsigned FsysDirectoryEntry::updateStatus(unsigned mediaTypes) {
  const MediaFileInfo highRes = (mediaTypes & eHighRes) != 0 ? probedHighRes() : highResFile();
  if ((mediaTypes & eProxy) != 0) probeProxies();
  if (mediaTypes == eHighRes) return highRes.getStatus();
  const bool areProxiesAlone = mediaTypes == eProxy;
  (void)reportUnless(areProxiesAlone || mediaTypes == kBothTypes,
                     "mediaTypes == ( eHighRes | eProxy )", "fsys/FsysDirectoryEntry line 418");
  SmallLockScope lock(lock_);
  const bool isProxyThere = std::any_of(
      proxyFiles_.begin(), proxyFiles_.end(),
      [](const MediaFileInfo& file) { return file.getStatus() == MediaFileInfo::ePresent; });
  if (areProxiesAlone) return isProxyThere ? MediaFileInfo::ePresent : MediaFileInfo::eNotProbed;
  if (!isProxyThere && !proxyFiles_.empty()) return MediaFileInfo::eMissing;
  return statusOf(!isPresent(highRes) || highRes.getStatus() == MediaFileInfo::ePresent);
}

void FsysDirectoryEntry::updateFileSize() {
  const MediaFileInfo file = highResFile();
  uint64_t bytes = 0;
  // The file itself: with its size unknown it is no link.
  if (!OS()->getFileManager()->getFileSize(file.getLinkFileName(), bytes)) bytes = 0;
  {
    SmallLockScope lock(lock_);
    if (isSameName(highResFile_, file)) {
      highResFile_.setSize(bytes);
      if (bytes != 0) highResFile_.setStatus(MediaFileInfo::ePresent);
    }
  }
  (void)reportUnless(bytes > 0, "highResFile_.size > 0", "fsys/FsysDirectoryEntry");
}

// Choosing one -----------------------------------------------------------------------------------

Text FsysDirectoryEntry::findProxy(unsigned height) const {
  probeProxies();
  MediaFileInfo file;
  auto isHighEnough = [height](const MediaFileInfo& proxy) {
    return proxy.proxyHeight() >= height;
  };
  if (!takeProxy(isHighEnough, file)) return {};
  Text path = file.getPhysicalFilename(false);
  keepProxy(file);
  return path;
}

Text FsysDirectoryEntry::findFileForCookie(const DecodeFormat& format) const {
  const eProxyLevel level = format.getProxyLevel();
  Text path;
  if (level == eProxy) path = findProxy(0);
  if (level == eAuto && format.getHeight() != 0) path = findProxy(format.getHeight());
  if (!path.empty()) return path;
  const MediaFileInfo file = probedHighRes();
  if (file.getStatus() != MediaFileInfo::ePresent) return findProxy(0);
  path = file.getPhysicalFilename(false);
  keepHighRes(file);
  return path;
}
