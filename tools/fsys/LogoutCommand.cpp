#include "tools/fsys/LogoutCommand.h"

#include "fsys/NetLogin.h"
#include "platform/DriveErrand.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "logging out of";

// Deletion: what was there, and what became of it.
struct Deletion {
  LockFile seen;
  bool isDone = false;
  uint32_t error = 0;  // why it could not be deleted
};

// Locked for this alone: a login that begins before the file is gone is refused, instead of losing
// it. Null where others hold it, or where it cannot be opened or locked.
Qv::Ptr<iFile> locked(const PathString& file) {
  return OS()->getFileManager()->openFile(file, iFileManager::eAccessWrite,
                                          iFileManager::eOpenExisting, 0,
                                          iFileManager::eAttributeHoldLock);
}

Deletion deleteFile(const PathString& file, bool force) {
  Deletion deletion{LockFile::look(file, true)};
  LockFile& seen = deletion.seen;
  Qv::Ptr<iFile> own;
  if (seen.state == LockFile::eStale && !(own = locked(file))) seen = LockFile::look(file, true);
  bool isForced = force && (seen.state == LockFile::eLive || seen.state == LockFile::eUnknown);
  if (seen.state != LockFile::eStale && !isForced) return deletion;
  deletion.isDone = OS()->getFileManager()->deleteFile(file);
  if (!deletion.isDone) deletion.error = OS()->getErrors()->getLastError();
  // Somebody else was faster.
  if (deletion.error == eOsNotFound) deletion = Deletion();
  return deletion;
}

}  // namespace

CLI::App* LogoutCommand::define(CLI::App& app) {
  CLI::App* command = addCommand(
      app, "logout", "Delete what a login of this workstation that did not end in order has left");
  addWord(command, "FOLDER", folder_, "The shared folder");
  addFlag(command, "--force", force_, "Also the file of a login that goes on: it then ends");
  return command;
}

ExitCode LogoutCommand::execute() {
  PathString folder = LoginFolder::of(kDoing, folder_);
  PathString file = LoginFolder::ownLockFile(kDoing, folder);
  auto asked = askDrive(
      file, [file, force = force_] { return deleteFile(file, force); }, kNetLoginPatience_ms);
  if (!asked) throw driveError(kDoing, file, OS()->getErrors()->getLastError());
  if (asked->error != 0) throw driveError("deleting", file, asked->error);
  if (!asked->isDone && asked->seen.state != LockFile::eMissing) refuse(file, asked->seen);
  tell(file, asked->seen);
  return ExitCode::eSuccess;
}

void LogoutCommand::refuse(const PathString& file, const LockFile& seen) const {
  if (seen.state == LockFile::eNoFile)
    throw ToolError(ExitCode::eNotAFile, kDoing, bytesOf(file), LockFile::kIsNone);
  ToolError refusal = driveError("asking who holds", file, seen.error);
  if (seen.error == 0)
    refusal = ToolError(ExitCode::eResources, kDoing, bytesOf(file),
                        seen.state == LockFile::eLive
                            ? LockFile::kIsLive
                            : "it cannot be told whether it is held: " + seen.why);
  throw refusal.withRemark("--force deletes it all the same");
}

void LogoutCommand::tell(const PathString& file, const LockFile& seen) {
  bool wasThere = seen.state != LockFile::eMissing;
  putName(results(), "file", bytesOf(file));
  results()["was_there"] = wasThere;
  if (wasThere) results()["was"] = seen.stateName();
  say(inQuotes(bytesOf(file)) + (wasThere ? " is deleted" : " is not there"));
}
