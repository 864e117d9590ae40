#include "tools/fsys/DriveQuestion.h"

#include <atomic>
#include <memory>

#include "fsys/MediaDrive.h"
#include "platform/Clocks.h"
#include "platform/OS.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"

namespace {

// A large folder on a network takes its time.
constexpr double kPatience_ms = 30000;
constexpr double kPause_ms = 20;

using Question = bool (*)(const PathString& path);

bool isFolder(const PathString& path) { return OS()->getFileManager()->folderExists(path); }

bool isPrepared(const PathString& path) {
  return isFolder(joinPaths(path, MediaDrive::getFolder(eCookieVision))) &&
         isFolder(joinPaths(path, MediaDrive::getFolder(eCookieSound)));
}

DriveAnswer ask(const PathString& path, Question question,
                unsigned patience_ms = kDrivePatience_ms) {
  auto work = [path, question] {
    OS()->getErrors()->setLastError(0);
    DriveAnswer told{question(path)};
    if (!told.yes) told.error = OS()->getErrors()->getLastError();
    return told;
  };
  auto answer = askDrive(path, work, patience_ms);
  return answer ? *answer : DriveAnswer{false, OS()->getErrors()->getLastError()};
}

}  // namespace

bool DriveAnswer::isSilent() const { return error == eOsTimedOut; }

DriveAnswer askIsThere(const PathString& path) {
  return ask(path, [](const PathString& asked) { return OS()->getFileManager()->exists(asked); });
}

DriveAnswer askIsFolder(const PathString& path, unsigned patience_ms) {
  return ask(path, &isFolder, patience_ms);
}

DriveAnswer askIsWritable(const PathString& path) {
  return ask(path,
             [](const PathString& asked) { return OS()->getFileManager()->isWritable(asked); });
}

DriveAnswer askIsPrepared(const PathString& path) { return ask(path, &isPrepared); }

// It is waited for by asking the drive for something else, which comes behind it.
bool doOnDrive(const PathString& path, const std::function<void()>& work) {
  struct Progress {
    std::atomic<bool> isBegun{false};
    std::atomic<bool> isDone{false};
  };
  auto progress = std::make_shared<Progress>();
  bool isAnswered = askDrive(path, [progress, work] {
                      progress->isBegun = true;
                      work();
                      progress->isDone = true;
                      return true;
                    }).has_value();
  double end_ms = Qv::now() + kPatience_ms;
  while (!isAnswered && progress->isBegun && Qv::now() < end_ms) {
    Interrupt::wait(-1, kPause_ms);
    isAnswered = askDrive(path, [] { return true; }).has_value();
  }
  if (isAnswered && !progress->isDone) OS()->getErrors()->setLastError(eOsNoMemory);
  return isAnswered && progress->isDone;
}

PathString diskOf(const PathString& path) {
  Qv::Ptr<iDiskDrive> disk = OS()->getFileManager()->getDisk(path);
  return disk ? disk->getRootPath() : PathString();
}

ToolError driveError(const std::string& doing, const PathString& path, uint32_t error) {
  if (error == eOsTimedOut)
    return ToolError(ExitCode::eIo, doing, bytesOf(path), "its drive does not answer");
  return engineError(doing, bytesOf(path), error);
}

void requireFolder(const std::string& doing, const PathString& path, unsigned patience_ms) {
  DriveAnswer folder = askIsFolder(path, patience_ms);
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
