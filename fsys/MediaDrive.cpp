#include "fsys/MediaDrive.h"

#include <functional>
#include <limits>

#include "fsys/DiskManager.h"
#include "fsys/VolumeRegistry.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"
#include "platform/TextHelpers.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr uint32_t kDefaultSector = 512;
constexpr unsigned kMebibyteShift = 20;
constexpr double kMebibyte = 1024.0 * 1024.0;
// No drive has them: their space is not known to anybody.
constexpr DriveId kAnyDrive{'*'};
constexpr DriveId kUnknownDrive{'?'};

uint64_t wholeBytes(double mebibytes) {
  double bytes = mebibytes * kMebibyte;
  if (!(bytes > 0)) return 0;
  constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
  return bytes < static_cast<double>(kMost) ? static_cast<uint64_t>(bytes) : kMost;
}

// The root of all has no local name, and a disk all the same.
Text diskPathOf(const Text& localName, const Text& rootPath) {
  wchar_t separator = OS()->getFileManager()->getSeparator();
  return localName.empty() && !rootPath.empty() ? Text(&separator, 1) : localName;
}

Text fileName(const Cookie& cookie, const Text& extension) {
  return cookie.asWString() + L'.' + extension;
}

}  // namespace

MediaDrive::MediaDrive(const DriveId& id, const Text& userName) : id_(id) {
  setUserName(userName);
  update();
}

MediaDrive::MediaDrive(const DriveId& id, const Text& rootPath, iDiskDrive::eType type)
    : id_(id), type_(type), sectorSize_(kDefaultSector) {
  uncName_ = OS()->getFileManager()->getUNCName(fixForeignOSFileName(rootPath));
  localName_ = localNameOf(rootPath);
  rootLocation_ = withSeparator(localName_);
  diskPath_ = diskPathOf(localName_, rootPath);
  setSectorSize();
  if (type_ != iDiskDrive::eNetwork) return;
  localShareName_ = DiskManager::convertUNCtoLocalShare(rootPath);
  // A share of this machine that is mounted here is known by its network name.
  if (localShareName_.empty()) localShareName_ = VolumeRegistry::get().shares.localFolder(uncName_);
}

MediaDrive::MediaDrive(const MediaDrive& other)
    : Qv::InternalRefCount(other),
      id_(other.id_),
      spaceMB_(other.spaceMB_.get()),
      capacityMB_(other.capacityMB_.get()),
      type_(other.type_),
      sectorSize_(other.sectorSize_.get()),
      reportedFlag_(other.reportedFlag_),
      localName_(other.localName_),
      uncName_(other.uncName_),
      localShareName_(other.localShareName_),
      autoDiscovered_(other.autoDiscovered_.get()),
      rootLocation_(other.rootLocation_),
      diskPath_(other.diskPath_),
      tooSlow_(other.tooSlow_.get()),
      busy_(other.busy_.get()) {
  setUserName(other.givenName());
}

MediaDrive::~MediaDrive() = default;

// Names ------------------------------------------------------------------------------------------

Text MediaDrive::givenName() const {
  CriticalSectionLock lock(nameLock_);
  return userName_;
}

Text MediaDrive::getUserName(bool) const {
  Text name = givenName();
  return name.empty() ? DiskManager::getMaterialVolumeName(id_, false) : name;
}

bool MediaDrive::is_unnamed() const { return nameKey_ == kUnnamed; }

bool MediaDrive::has_name(const Text& name) const { return getUserName(false) == name; }

size_t MediaDrive::nameKey(const Text& name) {
  return name.empty() ? kUnnamed : std::hash<std::wstring_view>()(name.view()) | 1;
}

bool MediaDrive::isCalled(const Text& name, size_t key) const {
  size_t own = nameKey_;
  if (own == kUnnamed) return localName_ == name;
  return own == key && givenName() == name;
}

void MediaDrive::setUserName(const Text& name) {
  CriticalSectionLock lock(nameLock_);
  userName_ = name;
  nameKey_.set(nameKey(name));
}

Text MediaDrive::localNameOf(const Text& rootPath) {
  Text name = fixForeignOSFileName(rootPath);
  wchar_t separator = OS()->getFileManager()->getSeparator();
  while (Qv::endsWith(name.view(), separator)) name = withoutSeparator(name);
  return name;
}

bool MediaDrive::liesAt(const Text& rootPath) { return fixForeignOSFileName(rootPath) == rootPath; }

Text MediaDrive::getListedLocation() const { return withSeparator(diskPath_); }

void MediaDrive::getLocalName(Text& name, bool raw) const {
  name = raw && !localShareName_.empty() ? localShareName_ : localName_;
}

// Where media lies -------------------------------------------------------------------------------

Text MediaDrive::getFolder(CookieType type) {
  switch (type) {
    case eCookieVision:
      return L"Material";
    case eCookieSound:
      return L"Sound";
    default:
      return {};
  }
}

Text MediaDrive::getFolder(const Cookie& cookie) { return getFolder(cookie.getType()); }

Text MediaDrive::getLocation(CookieType type) const {
  Text root = DiskManager::getMaterialVolumeName(id_, false);
  return root.empty() ? root : withSeparator(withSeparator(root) + getFolder(type));
}

Text MediaDrive::getLocation(const Cookie& cookie, const Text& extension) const {
  Text location = getLocation(cookie.getType());
  return location.empty() ? location : location + fileName(cookie, extension);
}

Text MediaDrive::getFsysLocation(CookieType type) const {
  Text folder = getFolder(type);
  if (folder.empty()) return folder;
  wchar_t separator = OS()->getFileManager()->getSeparator();
  return Text(&separator, 1) + folder + separator;
}

MaterialFilename MediaDrive::getFsysLocation(const Cookie& cookie, const Text& extension) const {
  Text location = getFsysLocation(cookie.getType());
  if (!location.empty()) location += fileName(cookie, extension);
  return {id_, location};
}

bool MediaDrive::prepareForMedia() const {
  return DiskManager::isVolumePreparedForMedia(id_) || DiskManager::prepareVolumeForMedia(id_);
}

// What the system says ---------------------------------------------------------------------------

Qv::Ptr<iDiskDrive> MediaDrive::disk() const {
  if (diskPath_.empty()) return nullptr;
  Qv::Ptr<iDiskDrive> holder = OS()->getFileManager()->getDisk(diskPath_);
  const bool isAnother =
      autoDiscovered_.get() && holder && holder->getRootPath() != getListedLocation();
  return isAnother ? nullptr : holder;
}

bool MediaDrive::hasDisk() const { return static_cast<bool>(disk()); }

bool MediaDrive::setSectorSize() {
  Qv::Ptr<iDiskDrive> drive = disk();
  if (!drive) return false;
  uint32_t reported = drive->getSectorSize();
  sectorSize_.set(reported != 0 ? reported : kDefaultSector);
  return true;
}

bool MediaDrive::getInfo(VolumeInfo* info) const {
  if (!info) return false;
  Qv::Ptr<iDiskDrive> drive = disk();
  VolumeInfo told;
  if (!drive || !drive->getSpace(told.freeBytes, told.totalBytes)) return false;
  told.isFixedDrive = type_ == iDiskDrive::eFixed;
  told.reportedFlag = reportedFlag_;
  *info = told;
  return true;
}

void MediaDrive::update() { refresh(); }

void MediaDrive::refresh() const {
  if (id_ == kAnyDrive || id_ == kUnknownDrive) return;
  // Of a drive that tells nothing it stays without space, so that nobody is sent there.
  VolumeInfo info;
  (void)DiskManager::getVolInfo(id_, &info);
  spaceMB_.set(static_cast<double>(info.freeBytes >> kMebibyteShift));
  capacityMB_.set(static_cast<double>(info.totalBytes >> kMebibyteShift));
}

uint64_t MediaDrive::getSpaceBytes() const { return wholeBytes(spaceMB_); }

uint64_t MediaDrive::getCapacityBytes() const { return wholeBytes(capacityMB_); }

void MediaDrive::bookSpace(double needMB) { spaceMB_.set(spaceMB_ - needMB); }

double MediaDrive::getSpaceForRecording() const {
  refresh();
  return spaceMB_ - kRecordingReserve_mib;
}
