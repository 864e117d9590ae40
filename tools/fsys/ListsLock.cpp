#include "tools/fsys/ListsLock.h"

#include "platform/DriveErrand.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr double kPause_ms = 20;
constexpr const char* kDoing = "locking the lists with";

// Null when it cannot be opened; the thread's last error says why.
Qv::Ptr<iFile> opened(const PathString& name, unsigned attributes) {
  auto file = askDrive(name, [name, attributes] {
    return OS()->getFileManager()->openFile(name, iFileManager::eAccessWrite,
                                            iFileManager::eOpenOrCreate, 0, attributes);
  });
  return file ? *file : nullptr;
}

}  // namespace

ListsLock::ListsLock(const ProjectFolder& project) {
  PathString name = joinPaths(project.path(), L"lists.lock");
  double end_ms = Qv::now() + kPatience_ms;
  while (!take(name)) {
    if (Qv::now() > end_ms)
      throw ToolError(ExitCode::eResources, kDoing, bytesOf(name),
                      "another process has been changing them for 5 seconds");
    Interrupt::wait(-1, kPause_ms);
  }
}

// False when somebody else has it.
bool ListsLock::take(const PathString& name) {
  file_ = opened(name, iFileManager::eAttributeHoldLock);
  if (file_) return true;
  uint32_t error = OS()->getErrors()->getLastError();
  // That a lock is taken and that a file may not be written are told by one number.
  if (error == eOsAccessDenied && opened(name, 0)) return false;
  throw driveError(kDoing, name, error);
}
