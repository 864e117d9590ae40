#include <cmath>

#include "fsys/DiskManager.h"
#include "fsys/VolumeRegistry.h"
#include "platform/EditorPreferences.h"

namespace {

constexpr double kMoreThanAnyDrive_mib = 1e99;
constexpr double kMebibyte = 1024.0 * 1024.0;
constexpr uint32_t kUnknownMinutes = 0xFFFFFFFF;

LightweightString<char> preferenceOf(const char* task) {
  return LightweightString<char>("Media Location (") + (task ? task : "") + ")";
}

// Held: another thread may take the drive out meanwhile. The shared empty one when there is none.
Qv::Ptr<MediaDrive> heldDrive(const DriveId& id) {
  Qv::Ptr<MediaDrive> drive = DiskManager::getVolume(id);
  return drive ? drive : Qv::Ptr<MediaDrive>(&VolumeRegistry::emptyDrive());
}

// Truncated, and of that the low 32 bits; unknown when it is endless or no number.
uint32_t wholeMinutes(double bytes, double bytesPerMinute) {
  double minutes = bytes / bytesPerMinute;
  if (!std::isfinite(minutes)) return kUnknownMinutes;
  // The remainder is exact, however large the number is.
  auto low = static_cast<uint32_t>(std::fmod(std::trunc(std::fabs(minutes)), 0x1p32));
  return minutes < 0 ? 0 - low : low;
}

}  // namespace

void DiskManager::setDriveForTask(const char* task, const DriveId& id) {
  if (id.valid())
    prefs().setPreference(preferenceOf(task), getMaterialVolumeName(heldDrive(id)->getId(), false));
  else
    prefs().removePreference(preferenceOf(task));
}

DriveId DiskManager::getDriveForTask(const char* task, bool fallBack) {
  DriveId id = getDriveWithPath(prefs().getPreference(preferenceOf(task)));
  return id.valid() || !fallBack ? id : find_best_disk();
}

DriveId DiskManager::find_best_disk() {
  return VolumeRegistry::get().volumes().read<DriveId>([](const VolumeSnapshot::Drives& drives) {
    DriveId last;
    for (const Qv::Ptr<MediaDrive>& drive : drives)
      if (drive->getSpaceMB() > 0) last = drive->getId();
    return last;
  });
}

DriveId DiskManager::findBestDrive(double needMB, Match match) {
  double best = match == eBestFit ? kMoreThanAnyDrive_mib : 0;
  Qv::Ptr<MediaDrive> chosen;
  for (const Qv::Ptr<MediaDrive>& drive : VolumeRegistry::get().volumes().copy()) {
    double space = drive->getSpaceMB();
    if (!(space > needMB)) continue;
    if ((match == eBestFit && space < best) || (match == eMostFree && space > best)) {
      best = space;
      chosen = drive;
    }
  }
  if (!chosen) return {};
  chosen->bookSpace(needMB);
  return chosen->getId();
}

double DiskManager::getSpaceForRecording(const DriveId& id) {
  return getSpaceForRecording(*heldDrive(id));
}

double DiskManager::getSpaceForRecording(const MediaDrive& drive) {
  return drive.getSpaceForRecording();
}

uint32_t DiskManager::get_mins_of_recording_left(const DriveId& id, double rateA, double rateB) {
  double bytes = getSpaceForRecording(id) * kMebibyte;
  return bytes > 0 ? wholeMinutes(bytes, rateA + rateB) : kUnknownMinutes;
}
