#include "fsys/FsysDirectoryEntry.h"

#include <algorithm>

#include "platform/Check.h"
#include "platform/PathHelpers.h"

FsysDirectoryEntry::FsysDirectoryEntry() = default;

FsysDirectoryEntry::~FsysDirectoryEntry() = default;

// Copies, and what is kept of them ---------------------------------------------------------------

bool FsysDirectoryEntry::isPresent(const MediaFileInfo& file) {
  const MaterialFilename& name = file.getMaterialFilename();
  return name.getDrive().valid() && !name.getPath().empty();
}

bool FsysDirectoryEntry::isSameName(const MediaFileInfo& a, const MediaFileInfo& b) {
  const MaterialFilename& left = a.getMaterialFilename();
  const MaterialFilename& right = b.getMaterialFilename();
  return left.getDrive() == right.getDrive() && left.getPath() == right.getPath();
}

bool FsysDirectoryEntry::isSameProxy(const MediaFileInfo& a, const MediaFileInfo& b) {
  return a.proxyHeight() == b.proxyHeight() && isSameName(a, b);
}

bool FsysDirectoryEntry::isSameFile(const MediaFileInfo& a, const MediaFileInfo& b) {
  return a.getSize() == b.getSize() && isSameProxy(a, b);
}

void FsysDirectoryEntry::keepAnswers(MediaFileInfo& own, const MediaFileInfo& asked,
                                     const Text& target) {
  if (!isSameFile(own, asked)) return;
  const bool areRead = own.isLinkRead() && asked.isLinkRead();
  if (areRead && !(own.readLinkedFilename() == target)) return;  // it leads elsewhere by now
  if (own.getStatus() == MediaFileInfo::eNotProbed) own.setStatus(asked.getStatus());
  if (asked.isLinkRead() && !own.isLinkRead()) own.setLinkedFilename(target);
}

MediaFileInfo FsysDirectoryEntry::highResFile() const {
  SmallLockScope lock(lock_);
  return highResFile_;
}

void FsysDirectoryEntry::keepHighRes(const MediaFileInfo& asked) const {
  const Text target = asked.isLinkRead() ? asked.readLinkedFilename() : Text();
  SmallLockScope lock(lock_);
  keepAnswers(highResFile_, asked, target);
}

void FsysDirectoryEntry::keepProxy(const MediaFileInfo& asked) const {
  const Text target = asked.isLinkRead() ? asked.readLinkedFilename() : Text();
  SmallLockScope lock(lock_);
  for (MediaFileInfo& own : proxyFiles_) keepAnswers(own, asked, target);
}

// What it has ------------------------------------------------------------------------------------

uint64_t FsysDirectoryEntry::fileSize() const {
  SmallLockScope lock(lock_);
  return highResFile_.getSize();
}

FsysDirectoryEntry::Text FsysDirectoryEntry::getPhysicalFilename(bool normalised) const {
  const MediaFileInfo file = highResFile();
  Text path = file.getPhysicalFilename(normalised);
  if (file.isLinkRead()) keepHighRes(file);
  return path;
}

FsysDirectoryEntry::Text FsysDirectoryEntry::getLinkedFilename() const {
  const MediaFileInfo file = highResFile();
  Text target = file.readLinkedFilename();
  keepHighRes(file);
  return target;
}

FsysDirectoryEntry::Text FsysDirectoryEntry::getName() const {
  return stripPath(getPhysicalFilename(true));
}

FsysDirectoryEntry::Text FsysDirectoryEntry::getLinkFileName() const {
  return stripPath(highResFile().getLinkFileName());
}

bool FsysDirectoryEntry::isLinked() const { return fileSize() == MaterialLink::kBytes; }

bool FsysDirectoryEntry::hasHighRes() const {
  SmallLockScope lock(lock_);
  return isPresent(highResFile_);
}

DriveId FsysDirectoryEntry::highResDrive() const {
  SmallLockScope lock(lock_);
  return highResFile_.getMaterialFilename().getDrive();
}

// Not analysed: its callers promise that nobody changes the entry.
const std::list<MediaFileInfo>& FsysDirectoryEntry::getProxyFiles() const
    NO_THREAD_SAFETY_ANALYSIS {
  return proxyFiles_;
}

void FsysDirectoryEntry::copyProxyFiles(std::list<MediaFileInfo>& files) const {
  Files copies;
  {
    SmallLockScope lock(lock_);
    copies = proxyFiles_;
  }
  files.swap(copies);
}

bool FsysDirectoryEntry::hasProxies() const {
  SmallLockScope lock(lock_);
  return !proxyFiles_.empty();
}

MaterialFilename FsysDirectoryEntry::primaryFilename() const {
  SmallLockScope lock(lock_);
  if (isPresent(highResFile_)) return highResFile_.getMaterialFilename();
  return proxyFiles_.empty() ? MaterialFilename() : proxyFiles_.front().getMaterialFilename();
}

// Links ------------------------------------------------------------------------------------------

void FsysDirectoryEntry::setLinkedFilename(const Text& name) const {
  SmallLockScope lock(lock_);
  highResFile_.setLinkedFilename(name);
}

void FsysDirectoryEntry::realiseLinks(bool replace) {
  (void)highResFile().createLinkFile(replace);
  Files files;
  copyProxyFiles(files);
  for (const MediaFileInfo& file : files) (void)file.createLinkFile(replace);
}

unsigned FsysDirectoryEntry::updateLinks(const DriveId& destDrive) {
  (void)reportUnless(!hasProxies(), "proxyFiles_.empty()", "fsys/FsysDirectoryEntry line 250");
  (void)FSYS_CHECK(destDrive.valid(), "fsys/FsysDirectoryEntry line 251");
  (void)reportUnless(!MaterialLink::linkedFileExists(highResFile().getMaterialFilename()),
                     "!MaterialLink::linkedFileExists( highResFile_.getMaterialFilename() )",
                     "fsys/FsysDirectoryEntry line 252");
  SmallLockScope lock(lock_);
  const Text path = highResFile_.getMaterialFilename().getPath();
  return highResFile_.setMaterialFilename(MaterialFilename(destDrive, path));
}
