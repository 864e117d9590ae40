// Adding, forgetting and renaming files: nothing on the disk changes.

#include <algorithm>
#include <iterator>
#include <limits>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/ProxyName.h"
#include "fsys/SystemCache.h"
#include "fsys/VolumeRegistry.h"
#include "platform/Check.h"
#include "platform/OS.h"

namespace {

using Text = LightweightString<wchar_t>;

// A cookie has no more, whatever a file's name says.
constexpr uint32_t kLastChannel = std::numeric_limits<unsigned char>::max();

// On the drive whose local name holds the path, the longest where there are several.
MaterialFilename nameAt(const Text& path) {
  const wchar_t separator = OS()->getFileManager()->getSeparator();
  DriveId holder;
  size_t length = 0;
  for (const Qv::Ptr<MediaDrive>& drive : VolumeRegistry::get().volumes().copy()) {
    Text name;
    drive->getLocalName(name, true);
    const bool isLonger = !holder.valid() || name.length() > length;
    if (!isLonger || !path.view().starts_with((name + separator).view())) continue;
    holder = drive->getId();
    length = name.length();
  }
  return {holder, path.substr(length)};
}

}  // namespace

// Adding -----------------------------------------------------------------------------------------

void FsysDirectoryEntry::addFile(const Cookie& cookie, const MediaFileInfo& info) {
  addFile(cookie, info, info.isProxy());
}

void FsysDirectoryEntry::addFile(const Cookie& cookie, const MediaFileInfo& info, bool isProxy) {
  if (!isProxy) {
    addHighRes(info);
    return;
  }
  const Files added{info};
  if (!append(info)) return;
  try {
    addSound(cookie, info);
  } catch (...) {
    forgetProxies(added);  // added again, it gets what it lacks
    throw;
  }
}

void FsysDirectoryEntry::addSound(const Cookie& cookie, const MediaFileInfo& info) {
  const uint32_t channels = std::min(info.proxyAudioChannels(), kLastChannel);
  for (uint32_t channel = 1; channel <= channels; ++channel)
    SystemCache::addProxyFile(
        convertCookie(cookie, eCookieSound, static_cast<unsigned char>(channel)), info);
}

void FsysDirectoryEntry::addHighRes(const MediaFileInfo& info) {
  SmallLockScope lock(lock_);
  const bool isLink = info.getSize() == MaterialLink::kBytes;
  if (isLink && highResFile_.getSize() > MaterialLink::kBytes) return;
  if (isPresent(highResFile_) && proxyFiles_.empty()) proxyFiles_.push_back(highResFile_);
  highResFile_ = info;
  if (!isLink) highResFile_.setStatus(MediaFileInfo::ePresent);
}

void FsysDirectoryEntry::addProxyFile(const MediaFileInfo& info) { (void)append(info); }

bool FsysDirectoryEntry::append(const MediaFileInfo& info) {
  Files added{info};
  SmallLockScope lock(lock_);
  if (std::any_of(proxyFiles_.begin(), proxyFiles_.end(),
                  [&info](const MediaFileInfo& own) { return isSameProxy(own, info); }))
    return false;
  proxyFiles_.splice(proxyFiles_.end(), added);
  return true;
}

// Forgetting -------------------------------------------------------------------------------------

void FsysDirectoryEntry::removeFile(const MediaFileInfo& info) {
  bool isProxy = info.isProxy();
  // One of the older form is none by its name alone when its file is gone.
  if (!isProxy && !forgetHighRes(info))
    isProxy = ProxyName::isOlderForm(info.getMaterialFilename().getPath().view());
  if (isProxy) removeProxyFile(info.getLinkFileName());
}

void FsysDirectoryEntry::removeProxyFile(const Text& name) {
  Files files;
  copyProxyFiles(files);
  files.remove_if([this, &name](const MediaFileInfo& file) {
    const bool isOther = !(file.getPhysicalFilename(false) == name);
    if (isOther) keepProxy(file);
    return isOther;
  });
  forgetProxies(files);
}

bool FsysDirectoryEntry::forgetHighRes(const MediaFileInfo& file) {
  SmallLockScope lock(lock_);
  if (!isSameName(highResFile_, file)) return false;
  highResFile_ = MediaFileInfo();
  return true;
}

void FsysDirectoryEntry::forgetProxies(const Files& files) {
  Files gone;  // outlives the lock
  SmallLockScope lock(lock_);
  auto isGone = [&files](const MediaFileInfo& own) {
    return std::any_of(files.begin(), files.end(),
                       [&own](const MediaFileInfo& file) { return isSameFile(own, file); });
  };
  for (auto own = proxyFiles_.begin(); own != proxyFiles_.end();) {
    auto next = std::next(own);
    if (isGone(*own)) gone.splice(gone.end(), proxyFiles_, own);
    own = next;
  }
}

// Renaming ---------------------------------------------------------------------------------------

QvResult FsysDirectoryEntry::renameProxyFile(const Text& from, const Text& to) {
  Files files;
  copyProxyFiles(files);
  auto found = std::find_if(files.begin(), files.end(), [&from](const MediaFileInfo& file) {
    return file.getLinkFileName() == from;
  });
  if (found == files.end()) {
    reportFailedCheck("false", "fsys/FsysDirectoryEntry line 210");
    return QvResult::NotFound;
  }
  const MaterialFilename name = nameAt(to);
  SmallLockScope lock(lock_);
  auto own = std::find_if(proxyFiles_.begin(), proxyFiles_.end(),
                          [found](const MediaFileInfo& file) { return isSameFile(file, *found); });
  if (own == proxyFiles_.end()) return QvResult::NotFound;
  own->setMaterialFilename(name);
  own->forgetLinkedFilename(from);
  return QvResult::OK;
}
