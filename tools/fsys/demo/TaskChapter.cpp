#include "tools/fsys/demo/TaskChapter.h"

#include "fsys/DiskManager.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/demo/DemoTask.h"

namespace {

constexpr double kMib = 1048576;

// Everything that will come to the drive: every other of the older shots, what is recorded, and
// what is moved there.
double needed_mib(const DemoMedia& media) {
  uint64_t bytes = media.older[1].vision.bytes;
  for (size_t i = 0; i < media.older.size(); i += 2) bytes += media.older[i].bytes();
  for (const DemoShot& shot : media.recorded) bytes += shot.bytes();
  return static_cast<double>(bytes) / kMib;
}

// Of a drive that does not tell there would seem to be none.
void requireKnownSpace(const DemoDrive& drive) {
  VolumeInfo info;
  OS()->getErrors()->setLastError(0);
  if (DiskManager::getVolInfo(drive.id, &info) == QvResult::OK) return;
  throw driveError("asking for the space of", fromUTF8(std::string_view(drive.root)),
                   OS()->getErrors()->getLastError());
}

}  // namespace

TaskChapter::TaskChapter() : DemoChapter("task", "setting the drive of the task Record") {}

void TaskChapter::run(DemoDay& day, DemoStep& step) {
  DriveId id = day.recordDrive().id;
  DiskManager::setDriveForTask(kRecordTask, id);
  step.checks.same("the drive of the task Record", MediaDrives::codeOf(id),
                   MediaDrives::codeOf(DiskManager::getDriveForTask(kRecordTask, false)));
  std::string settings = day.folders.settings() + "/fsys/preferences";
  step.checks.isThere(settings, true, factsOf(settings).isRegular);
  requireKnownSpace(day.recordDrive());
  double space_mib = DiskManager::getSpaceForRecording(id);
  double needed = needed_mib(day.media);
  if (space_mib < needed)
    throw ToolError(ExitCode::eNoSpace, "recording to", day.recordDrive().root,
                    text("expected room for %.1f MiB, found %.1f MiB", needed, space_mib));
  step.checks.add(1);
  step.what = "Record is on " + MediaDrives::titleOf(id);
  step.amount = text("%.0f MiB free", space_mib);
}
