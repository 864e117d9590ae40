#include "tools/fsys/demo/LinkChapter.h"

#include <sys/stat.h>

#include <cerrno>

#include "fsys/MaterialLink.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Progress.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/demo/DemoComparison.h"

namespace {

// On the other drive, where no scan looks.
std::string makeTargetFolder(const DemoDrive& drive) {
  std::string folder = drive.root + "/Elsewhere";
  if (::mkdir(folder.c_str(), 0777) != 0) throw systemError("making the folder", folder, errno);
  return folder;
}

// A link never takes the place of media: that goes first.
void replace(const DemoFile& file) {
  if (!SystemCache::removeFile(file.cookie, true, eHighRes))
    throw ToolError(ExitCode::eIo, "deleting", file.path, "it could not be deleted");
  PathString link = fromUTF8(std::string_view(file.path));
  if (MaterialLink::createLink(link, fromUTF8(std::string_view(file.target)), false) != 1)
    throw ToolError(ExitCode::eIo, "making the link", file.path, "it could not be written");
  SystemCache::addFile(file.cookie, file.name, true);
}

}  // namespace

LinkChapter::LinkChapter() : DemoChapter("link", "putting a link in the place of a file") {}

void LinkChapter::run(DemoDay& day, DemoStep& step) {
  DemoFile& file = day.media.older[1].vision;
  step.checks.isThere(file.path + " on the other drive", true, day.otherDrive().holds(file.path));
  file.target = makeTargetFolder(day.recordDrive()) + "/" + lastPartOf(file.path);
  Progress progress("moving", file.bytes, day.wantsProgress);
  day.copier.copy(file.path, file.target, progress);
  day.checkedBytes += DemoComparison::byPlainReads(file.target, file.source);
  replace(file);
  day.checkTold(DemoNews::of(DemoNews::kAdded, 1) + ", " + DemoNews::of(DemoNews::kRemoved, 1),
                step.checks);
  step.checks.same(file.path, uint64_t{MaterialLink::kBytes}, factsOf(file.path).size);
  step.checks.isThere("the link of " + textOf(file.cookie), true,
                      SystemCache::isLinked(file.cookie));
  PathString found;
  (void)SystemCache::findFileForCookie(file.cookie, found, DecodeFormat(eHighRes));
  step.checks.same("what serves " + textOf(file.cookie), file.target, bytesOf(found));
  // By the link's own name: the engine follows it.
  step.bytes = DemoComparison::throughEngine(file.path, file.source);
  day.checkedBytes += step.bytes;
  step.checks.add(2);
  step.what = textOf(file.cookie) + " is on the other drive, read through its link";
  step.amount = "1 link";
}
