#include "tools/fsys/demo/PrepareChapter.h"

#include "fsys/DiskManager.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/LocationList.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "preparing";

std::string folderOn(const DemoDrive& drive, CookieType type) {
  return drive.root + "/" + bytesOf(MediaDrive::getFolder(type));
}

void checkFolders(const DemoDrive& drive, bool areThere, DemoChecks& checks) {
  for (CookieType type : {eCookieVision, eCookieSound}) {
    std::string folder = folderOn(drive, type);
    checks.isThere(folder, areThere, factsOf(folder).isFolder);
  }
}

void registerAt(DemoDrive& drive, const PathString& path) {
  DiskManager::addMediaLocation(path);
  Qv::Ptr<MediaDrive> registered = MediaDrives::at(path);
  if (!registered) throw MediaDrives::notRegistered("adding the location", path);
  drive.id = registered->getId();
}

}  // namespace

PrepareChapter::PrepareChapter() : DemoChapter("prepare", "making two media drives") {}

void PrepareChapter::run(DemoDay& day, DemoStep& step) {
  LocationLists lists(day.project.path());
  for (DemoDrive& drive : day.drives) {
    PathString path = locationPath(drive.root);
    registerAt(drive, path);
    lists.load();
    step.checks.isThere("the line of " + drive.root, true, lists.added.has(path));
    checkFolders(drive, false, step.checks);
    OS()->getErrors()->setLastError(0);
    if (!DiskManager::prepareVolumeForMedia(drive.id))
      throw driveError(kDoing, path, OS()->getErrors()->getLastError());
    checkFolders(drive, true, step.checks);
  }
  day.checkTold(DemoNews::of(DemoNews::kLocations, 2), step.checks);
  step.checks.same("the codes of the drives", std::string("12"),
                   MediaDrives::codeOf(day.drives[0].id) + MediaDrives::codeOf(day.drives[1].id));
  step.what = "media drives; the first is " + day.recordDrive().bay->kind();
  step.amount = "2 drives";
}
