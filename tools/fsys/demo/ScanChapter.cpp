#include "tools/fsys/demo/ScanChapter.h"

#include <algorithm>

#include "fsys/SystemCache.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/demo/DemoEntry.h"

namespace {

void checkEntries(const std::vector<DemoEntry>& expected, DemoChecks& checks) {
  std::vector<std::string> found = DemoEntry::wordsFound();
  checks.same("entries of the catalogue", expected.size(), found.size());
  for (size_t i = 0; i < found.size(); ++i)
    checks.same("an entry of the catalogue", expected[i].words(), found[i]);
}

uint64_t countBeside(DemoDay& day) {
  std::vector<DemoFile*> files = day.media.files();
  return static_cast<uint64_t>(std::count_if(
      files.begin(), files.end(), [](const DemoFile* file) { return !file->beside.empty(); }));
}

}  // namespace

ScanChapter::ScanChapter() : DemoChapter("scan", "scanning the drives") {}

void ScanChapter::run(DemoDay& day, DemoStep& step) {
  std::vector<DemoEntry> expected = DemoEntry::all(day);
  checkEntries(expected, step.checks);
  SystemCache::initialise(true);
  checkEntries(expected, step.checks);
  day.checkFiles(step.checks);
  ScanTally tally = SystemCache::getScanTally();
  step.checks.same("files that were seen", day.expectedFiles().size(), tally.seen);
  step.checks.same("files beside media", countBeside(day), tally.ineligible);
  step.what = text("%zu entries, %llu files beside media passed over", expected.size(),
                   static_cast<unsigned long long>(tally.ineligible));
  step.amount = text("%llu files", static_cast<unsigned long long>(tally.seen));
}
