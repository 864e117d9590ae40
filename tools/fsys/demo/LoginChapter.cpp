#include "tools/fsys/demo/LoginChapter.h"

#include "fsys/NetLogin.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/LockFile.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "logging in to";

}  // namespace

LoginChapter::LoginChapter() : DemoChapter("login", "logging in to shared media") {}

void LoginChapter::run(DemoDay& day, DemoStep& step) {
  PathString shared = fromUTF8(std::string_view(day.folders.shared()));
  if (!OS()->getFileManager()->createFolder(shared))
    throw driveError("making the folder", shared, OS()->getErrors()->getLastError());
  PathString file = LoginFolder::ownLockFile(kDoing, shared);
  step.checks.same("the name of the lock file", bytesOf(file),
                   bytesOf(getNetLoginLockFileName(shared)));
  if (NetLogin(shared) != 1) throw driveError(kDoing, file, OS()->getErrors()->getLastError());
  step.checks.isThere("the handle of the lock file", true,
                      lockFilehandle && lockFilehandle->isOpen());
  step.checks.same("the lock file", "live", LockFile::look(file, true).stateName());
  step.what = "the lock file of this workstation is held";
  step.amount = "1 login";
}
