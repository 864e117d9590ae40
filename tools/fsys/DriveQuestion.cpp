#include "tools/fsys/DriveQuestion.h"

#include "fsys/MediaDrive.h"
#include "platform/DriveErrand.h"
#include "platform/OS.h"
#include "tools/fsys/Text.h"

namespace {

using Question = bool (*)(const PathString& path);

bool isFolder(const PathString& path) { return OS()->getFileManager()->folderExists(path); }

bool isPrepared(const PathString& path) {
  return isFolder(joinPaths(path, MediaDrive::getFolder(eCookieVision))) &&
         isFolder(joinPaths(path, MediaDrive::getFolder(eCookieSound)));
}

DriveAnswer ask(const PathString& path, Question question) {
  auto answer = askDrive(path, [path, question] {
    OS()->getErrors()->setLastError(0);
    DriveAnswer told{question(path)};
    if (!told.yes) told.error = OS()->getErrors()->getLastError();
    return told;
  });
  return answer ? *answer : DriveAnswer{false, OS()->getErrors()->getLastError()};
}

}  // namespace

bool DriveAnswer::isSilent() const { return error == eOsTimedOut; }

DriveAnswer askIsThere(const PathString& path) {
  return ask(path, [](const PathString& asked) { return OS()->getFileManager()->exists(asked); });
}

DriveAnswer askIsFolder(const PathString& path) { return ask(path, &isFolder); }

DriveAnswer askIsWritable(const PathString& path) {
  return ask(path,
             [](const PathString& asked) { return OS()->getFileManager()->isWritable(asked); });
}

DriveAnswer askIsPrepared(const PathString& path) { return ask(path, &isPrepared); }

PathString diskOf(const PathString& path) {
  Qv::Ptr<iDiskDrive> disk = OS()->getFileManager()->getDisk(path);
  return disk ? disk->getRootPath() : PathString();
}

ToolError driveError(const std::string& doing, const PathString& path, uint32_t error) {
  if (error == eOsTimedOut)
    return ToolError(ExitCode::eIo, doing, bytesOf(path), "its drive does not answer");
  return engineError(doing, bytesOf(path), error);
}

void requireFolder(const std::string& doing, const PathString& path) {
  DriveAnswer folder = askIsFolder(path);
  if (folder.yes) return;
  if (folder.error == 0 || folder.error == eOsNotFound || folder.error == eOsNotAFolder)
    throw ToolError(ExitCode::eNotFound, doing, bytesOf(path), "there is no such folder");
  throw driveError(doing, path, folder.error);
}

void requireWritable(const std::string& doing, const PathString& path) {
  DriveAnswer writable = askIsWritable(path);
  if (writable.yes) return;
  if (writable.error == 0)
    throw ToolError(ExitCode::ePermission, doing, bytesOf(path), "it cannot be written");
  throw driveError(doing, path, writable.error);
}
