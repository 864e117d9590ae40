#include "tools/fsys/demo/AskChapter.h"

#include "tools/fsys/Text.h"
#include "tools/fsys/demo/DemoComparison.h"
#include "tools/fsys/demo/DemoInterview.h"

AskChapter::AskChapter()
    : DemoChapter("ask", "asking for each cookie, and reading what is answered") {}

void AskChapter::run(DemoDay& day, DemoStep& step) {
  uint64_t opened = 0;
  DemoInterview interview(day);
  interview.askAll(step.checks, [&](const DemoFile& file) {
    step.bytes += DemoComparison::throughEngine(file.opened(), file.source);
    step.checks.add(1);
    ++opened;
  });
  day.checkedBytes += step.bytes;
  step.checks.same("clips that are offline", uint64_t{0}, interview.askOffline(step.checks));
  step.what = "each cookie at each level and height, read";
  step.amount = text("%llu answers", static_cast<unsigned long long>(opened));
}
