#include "tools/fsys/demo/UnplugChapter.h"

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/demo/DemoComparison.h"
#include "tools/fsys/demo/DemoInterview.h"

namespace {

void checkPrepared(const DemoDrive& drive, bool expected, DemoChecks& checks) {
  checks.isThere("the media folders of " + drive.root, expected,
                 DiskManager::isVolumePreparedForMedia(drive.id));
}

}  // namespace

UnplugChapter::UnplugChapter()
    : DemoChapter("unplug", "taking a drive away and bringing it back") {}

void UnplugChapter::checkAway(DemoDay& day, DemoStep& step) {
  DemoDrive& drive = day.recordDrive();
  checkPrepared(drive, false, step.checks);
  SystemCache::initialise(true);
  for (const DemoFile* file : day.media.files())
    step.checks.isThere(file->opened(), !drive.holds(file->opened()),
                        factsOf(file->opened()).exists);
  DemoInterview(day, &drive).askAll(step.checks);
}

void UnplugChapter::checkBack(DemoDay& day, DemoStep& step) {
  DemoDrive& drive = day.recordDrive();
  checkPrepared(drive, true, step.checks);
  SystemCache::initialise(true);
  DemoInterview interview(day);
  interview.askAll(step.checks);
  step.checks.same("clips that are offline", uint64_t{0}, interview.askOffline(step.checks));
  for (const DemoFile* file : day.media.files()) {
    if (!drive.holds(file->opened())) continue;
    step.bytes += DemoComparison::throughEngine(file->opened(), file->source);
    step.checks.add(1);
  }
  day.checkedBytes += step.bytes;
  day.checkFiles(step.checks);
}

void UnplugChapter::run(DemoDay& day, DemoStep& step) {
  DriveBay& bay = *day.recordDrive().bay;
  bay.takeOut();
  checkAway(day, step);
  offline_ = DemoInterview(day, &day.recordDrive()).askOffline(step.checks);
  bay.putBack();
  checkBack(day, step);
  step.what = bay.kind() + ", " + bay.way() + ", and back";
  step.amount = text("%llu clips offline", static_cast<unsigned long long>(offline_));
}
