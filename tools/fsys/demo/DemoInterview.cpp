#include "tools/fsys/demo/DemoInterview.h"

#include "fsys/MediaLocationInfo.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/CookieWord.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"

namespace {

const char* stateWord(bool isOffline) { return isOffline ? "offline" : "online"; }

}  // namespace

DemoInterview::DemoInterview(DemoDay& day, const DemoDrive* away)
    : questions_(DemoQuestion::all(day.media)), entries_(DemoEntry::all(day, away)) {}

void DemoInterview::askAll(DemoChecks& checks, const Take& take) const {
  for (const DemoEntry& entry : entries_) {
    for (const DemoQuestion& question : questions_) {
      Interrupt::check();
      PathString found;
      (void)SystemCache::findFileForCookie(entry.cookie, found, question.format());
      const DemoFile* expected = entry.answerTo(question);
      checks.same(textOf(entry.cookie) + " (" + question.words() + ")",
                  expected ? expected->opened() : "", bytesOf(found));
      if (expected && take) take(*expected);
    }
  }
}

uint64_t DemoInterview::askOffline(DemoChecks& checks) const {
  uint64_t offline = 0;
  for (const DemoEntry& entry : entries_) {
    bool isOffline = MediaLocationInfo::isClipOffline(entry.cookie, eHighRes);
    checks.same(textOf(entry.cookie), std::string(stateWord(!entry.highRes)), stateWord(isOffline));
    if (isOffline) ++offline;
  }
  return offline;
}
