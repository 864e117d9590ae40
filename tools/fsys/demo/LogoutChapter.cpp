#include "tools/fsys/demo/LogoutChapter.h"

#include "fsys/NetLogin.h"
#include "tools/fsys/LockFile.h"
#include "tools/fsys/Text.h"

LogoutChapter::LogoutChapter() : DemoChapter("logout", "logging out") {}

void LogoutChapter::run(DemoDay& day, DemoStep& step) {
  PathString file = getNetLoginLockFileName(fromUTF8(std::string_view(day.folders.shared())));
  step.checks.same("the lock file at the end", "live", LockFile::look(file, true).stateName());
  NetLogout();
  step.checks.isThere("the handle of the lock file", false, static_cast<bool>(lockFilehandle));
  step.checks.isThere(bytesOf(file), false, LockFile::find(file).state != LockFile::eMissing);
  step.what = "the lock file is gone";
  step.amount = "0 logins";
}
