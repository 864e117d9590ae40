#include "tools/fsys/demo/RecordChapter.h"

#include <memory>

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "platform/OS.h"
#include "platform/TextFile.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/demo/DemoComparison.h"
#include "tools/fsys/demo/DemoRecorder.h"
#include "tools/fsys/demo/DemoTask.h"
#include "tools/fsys/demo/DemoTrack.h"

namespace {

constexpr double kMsPerSecond = 1000;

uint64_t picturesOf(const DemoDay& day) {
  return static_cast<uint64_t>(day.seconds * kMsPerSecond / DemoClock::kPicture_ms);
}

PathString extensionOf(const DemoFile& file) {
  return fromUTF8(std::string_view(file.extension()));
}

// As editors do, which find it again by the name.
void putBeside(DemoFile& file) {
  bool isSound = file.cookie.getType() == eCookieSound;
  file.beside = file.path + (isSound ? ".reapeaks" : ".qvix");
  PathString path = fromUTF8(std::string_view(file.beside));
  TextFile beside(path);
  beside.appendLine(toUTF8(path));
  if (!beside.save()) throw driveError("writing", path, OS()->getErrors()->getLastError());
}

}  // namespace

RecordChapter::RecordChapter()
    : DemoChapter("record", "recording two shots while four play, the last of them scrubbed") {}

void RecordChapter::addPlayed(DemoDay& day, DemoStep& step) {
  for (DemoShot& shot : day.media.older) {
    bool isScrubbed = &shot == &day.media.older.back();
    auto show =
        std::make_unique<DemoShow>(isScrubbed ? "scrub" : "play", shot.name(), picturesOf(day));
    for (const DemoFile* file : shot.channels()) {
      PathString path;
      (void)SystemCache::findFileForCookie(file->cookie, path, DecodeFormat(eHighRes));
      step.checks.same("what serves " + textOf(file->cookie), file->path, bytesOf(path));
      show->add(std::make_unique<DemoTrack>(file->path, file->source, picturesOf(day), isScrubbed));
    }
    day.stream.add(std::move(show));
  }
}

void RecordChapter::addRecorded(DemoDay& day) {
  DemoDrive onTask;
  onTask.root = day.recordDrive().root;
  onTask.id = DiskManager::getDriveForTask(kRecordTask, false);
  Qv::Ptr<MediaDrive> drive = onTask.registered();
  for (DemoShot& shot : day.media.recorded) {
    auto show = std::make_unique<DemoShow>("record", shot.name(), picturesOf(day));
    for (DemoFile* file : shot.channels()) {
      file->setName(drive->getFsysLocation(file->cookie, extensionOf(*file)));
      show->add(std::make_unique<DemoRecorder>(file->path, file->source, picturesOf(day)));
    }
    day.stream.add(std::move(show));
  }
}

// What was recorded is media from now on.
void RecordChapter::keep(DemoDay& day, DemoStep& step) {
  uint64_t files = 0;
  for (DemoShot& shot : day.media.recorded) {
    for (DemoFile* file : shot.channels()) {
      SystemCache::addFile(file->cookie, file->name, true);
      day.checkedBytes += DemoComparison::byPlainReads(file->path, file->source);
      step.checks.add(1);
      putBeside(*file);
      ++files;
    }
  }
  day.checkTold(DemoNews::of(DemoNews::kAdded, files), step.checks);
}

void RecordChapter::run(DemoDay& day, DemoStep& step) {
  addPlayed(day, step);
  addRecorded(day);
  day.stream.run();
  DemoFigures total = day.stream.total();
  step.bytes = total.bytes;
  step.transfer_ms = day.stream.time_ms();
  day.checkedBytes += total.checkedBytes;
  for (const auto& show : day.stream.shows())
    if (show->figures().checkedBytes > 0) step.checks.add(show->figures().pictures);
  keep(day, step);
  step.what =
      text("%zu shots of 5 channels, %zu play", day.media.recorded.size(), day.media.older.size());
  step.amount = text("%llu pictures", static_cast<unsigned long long>(total.pictures));
}
