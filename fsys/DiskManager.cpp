#include "fsys/DiskManager.h"

#include "fsys/DriveQuestions.h"
#include "fsys/SystemCache.h"
#include "fsys/VolumeRegistry.h"
#include "platform/Check.h"
#include "platform/Clocks.h"
#include "platform/Log.h"
#include "platform/OS.h"
#include "platform/PathHelpers.h"

namespace {

using Text = LightweightString<wchar_t>;

constexpr int kShutdownPriority = 201;
constexpr uint32_t kSpaceUpdatePause_ms = 2000;

NotifyMsgTypeDictionary::Type messageType() {
  static const NotifyMsgTypeDictionary::Type type = NotifyMsgTypeDictionary::intern("DiskManager");
  return type;
}

void issue(const char* text) {
  VolumeRegistry::get().notifier.issue(NotifyMsg(messageType(), text));
}

bool isForMedia(iDiskDrive& disk) {
  return disk.getType() == iDiskDrive::eFixed && !disk.isExcluded() && disk.isAvailable();
}

bool hasWritableMediaFolder(const Text& root) {
  Text folder = withSeparator(joinPaths(root, MediaDrive::getFolder(eCookieVision)));
  return DriveQuestions::folderIsThere(folder) && DiskManager::writableVolume(folder);
}

// Said of one that would be a media drive.
bool canBeRegistered(const Text& root) {
  if (MediaDrive::liesAt(root)) return true;
  Log("Disk Manager - '%s' is no path of a media drive\n", toUTF8(root).c_str());
  return false;
}

// Not by its location, since the root of all has none.
Qv::Ptr<MediaDrive> driveAt(const Text& root) {
  Text wanted = MediaDrive::localNameOf(root);
  return VolumeRegistry::get().volumes().find([&wanted](const MediaDrive& drive) {
    Text name;
    drive.getLocalName(name, false);
    return name == wanted;
  });
}

// The drive of that root, registered if it was not; null when there is no identifier left for it.
Qv::Ptr<MediaDrive> discoveredDrive(const Text& root) {
  Qv::Ptr<MediaDrive> drive = driveAt(root);
  if (drive)
    (void)FSYS_CHECK(false, "fsys/DiskManager line 1098");
  else
    drive = VolumeRegistry::get().registerDrive(root, iDiskDrive::eFixed, true);
  return drive;
}

}  // namespace

// Life cycle -------------------------------------------------------------------------------------

void DiskManager::init(const Text& projectSpace, bool noDiscovery) {
  VolumeRegistry& registry = VolumeRegistry::get();
  if (!registry.isShutdownRegistered) {
    Shutdown::addCallback(&DiskManagerShutdown, kShutdownPriority);
    registry.isShutdownRegistered = true;
  }
  registry.projectSpace = projectSpace;
  registry.timeOfLastSpaceUpdate = 0;
  deInit();
  reInit(noDiscovery);
  discardUnmountedDrives();
  addDrivesFromFile(joinPaths(projectSpace, getMediaLocationsFilename()));
  update_drives_and_groups();
}

void DiskManager::reInit(bool noDiscovery) {
  VolumeRegistry::get().restartIds();
  deInit();
  if (!noDiscovery) discoverVolumes();
}

void DiskManager::deInit() { VolumeRegistry::get().removeAll(); }

void DiskManager::DiskManagerShutdown(Shutdown::eExitType type) {
  if (type == Shutdown::eNormal) deInit();
}

// Registration -----------------------------------------------------------------------------------

bool DiskManager::discoverVolumes() {
  Vector<Qv::Ptr<iDiskDrive>> disks = OS()->getFileManager()->getDisks();
  for (const Qv::Ptr<iDiskDrive>& disk : disks) {
    if (!isForMedia(*disk)) continue;
    Text root = disk->getRootPath();
    if (!hasWritableMediaFolder(root) || !canBeRegistered(root)) continue;
    Qv::Ptr<MediaDrive> drive = discoveredDrive(root);
    if (!drive) {
      Log("Disk Manager - no identifier is left for drive '%s'\n", toUTF8(root).c_str());
      break;
    }
    DriveId id = drive->getId();
    Text name = getMediaLocationUserName(id);
    if (!name.empty()) setMediaLocationUserName(id, name);
    drive->update();
    SystemCache::addMediaLocation(id);
  }
  return !disks.empty();
}

QvResult DiskManager::deleteMaterialVolume(DriveId id) {
  return VolumeRegistry::get().remove(id) ? QvResult::OK : QvResult::NotFound;
}

// Notifications ----------------------------------------------------------------------------------

void DiskManager::addListener(const Notifier::Listener& listener) {
  VolumeRegistry::get().notifier.add(messageType(), listener);
}

void DiskManager::informInterestedParties() { issue("MediaLocationsChangeMsg"); }

void DiskManager::issueMediaOnlineChangeNotification() { issue("MediaOnlineChangeMsg"); }

void DiskManager::update_drives_and_groups() {
  updateDrives();
  uint32_t& last = VolumeRegistry::get().timeOfLastSpaceUpdate;
  uint32_t now = service_get_msecs();
  if (now - last <= kSpaceUpdatePause_ms) return;
  // Before the listeners hear of it, who may come here themselves.
  last = now;
  issue("disk manager update");
}
