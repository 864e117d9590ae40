// The drives that the user took out.
#include "fsys/DiskManager.h"
#include "fsys/UnmountedList.h"
#include "fsys/VolumeRegistry.h"
#include "platform/Check.h"
#include "platform/Log.h"
#include "platform/TextFile.h"

namespace {

using Text = DiskManager::Text;

// Drives with codes up to here stay.
constexpr unsigned char kLastMounted = 'Z';

// UnmountedReport: the names of the drives that are unmounted, for the file that the caller named.
class UnmountedReport {
public:
  // Null: nobody wants it.
  explicit UnmountedReport(const char* file) : isWanted_(file), file_(fromUTF8(file)) {}

  // The first one replaces what the file held; each is saved at once.
  void add(const Text& name) {
    if (!isWanted_) return;
    if (!file_.appendLine(toUTF8(name)))
      Log("Disk Manager - '%s' cannot stand in the list '%s'\n", toUTF8(name).c_str(),
          fileName().c_str());
    if (!file_.save()) Log("Disk Manager - the list '%s' cannot be saved\n", fileName().c_str());
  }

private:
  LightweightString<char> fileName() const { return toUTF8(file_.name()); }

  const bool isWanted_;
  TextFile file_;
};

}  // namespace

Vector<Text> DiskManager::getUnmountedDrives() {
  return UnmountedList(VolumeRegistry::get().projectSpace).locations();
}

void DiskManager::discardUnmountedDrives() {
  for (const Text& location : getUnmountedDrives()) {
    Qv::Ptr<MediaDrive> drive = VolumeRegistry::get().volumes().find(
        [&location](const MediaDrive& listed) { return listed.getListedLocation() == location; });
    if (drive) deleteMaterialVolume(drive->getId());
  }
}

bool DiskManager::unmountDrives(const char* file) {
  UnmountedReport report(file);
  bool isAnyUnmounted = false;
  DriveId next;
  bool isThere = getFirstMaterialVolume(next);
  while (isThere) {
    const DriveId id = next;
    const bool goes = id.code() > kLastMounted;
    VolumeInfo info;
    QvResult ok = getVolInfo(id, &info);
    (void)FSYS_CHECK(ok == QvResult::OK, "fsys/DiskManager line 347");
    if (goes) {
      // Who is told may read there which drive it is about.
      report.add(getMaterialVolumeName(id, false));
      informInterestedParties();
    }
    // The walk finds its way on only from a drive that is there.
    isThere = getNextMaterialVolume(next);
    if (goes) deleteMaterialVolume(id);
    isAnyUnmounted |= goes;
  }
  return isAnyUnmounted;
}
