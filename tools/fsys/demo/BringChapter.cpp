#include "tools/fsys/demo/BringChapter.h"

#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/Text.h"

BringChapter::BringChapter() : DemoChapter("bring in", "bringing in four older shots") {}

void BringChapter::run(DemoDay& day, DemoStep& step) {
  uint64_t total = 0;
  for (const DemoShot& shot : day.media.older) total += shot.bytes();
  Progress progress("bringing in", total, day.wantsProgress);
  uint64_t files = 0;
  for (size_t i = 0; i < day.media.older.size(); ++i) {
    Qv::Ptr<MediaDrive> drive = day.drives[i % day.drives.size()].registered();
    for (DemoFile* file : day.media.older[i].channels()) {
      PathString extension = fromUTF8(std::string_view(file->extension()));
      file->setName(drive->getFsysLocation(file->cookie, extension));
      step.bytes += day.copier.copy(file->source, file->path, progress);
      SystemCache::addFile(file->cookie, file->name, true);
      step.checks.same("the size of " + textOf(file->cookie), file->bytes,
                       SystemCache::fileSize(file->cookie));
      ++files;
    }
  }
  day.checkTold(DemoNews::of(DemoNews::kAdded, files), step.checks);
  step.what = text("%zu older shots", day.media.older.size());
  step.amount = text("%llu files", static_cast<unsigned long long>(files));
}
