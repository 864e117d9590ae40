#include "tools/fsys/MediaCommand.h"

#include "tools/fsys/Interrupt.h"

ExitCode MediaCommand::work() {
  uint64_t seen = 0;
  uint64_t told = 0;
  say(heading());
  SystemCache::enumerate([&](const Cookie& cookie, const FsysDirectoryEntry&) {
    Interrupt::check();
    SystemCache::Entry entry = SystemCache::findEntryForCookie(cookie);
    ++seen;
    if (entry && tell(cookie, *entry)) ++told;
    return true;
  });
  results()["entries"] = seen;
  results()["told"] = told;
  tellMissing();
  return ExitCode::eSuccess;
}
