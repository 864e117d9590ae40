#include <string>

#include "fsys/DiskManager.h"
#include "fsys/Fsys.h"
#include "platform/DriveErrand.h"
#include "platform/Log.h"
#include "platform/PathHelpers.h"

namespace {

// Standard output is the program's own: what the library has to say goes where the program wants.
std::string said;

bool saysWhere(const PathString& drive) {
  DiagnosticSinks sinks;
  sinks.logBoth = [](const std::string& text) { said += text; };
  setDiagnosticSinks(sinks);
  bool isAdded = DiskManager::addDriveForMediaLocation(drive, false);
  setDiagnosticSinks({});
  DiskManager::deInit();
  return isAdded && said.find("Added media location") != std::string::npos;
}

bool isThere(const PathString& file) {
  return askDrive(file, [file] { return OS()->getFileManager()->exists(file); }).value_or(false);
}

}  // namespace

int main(int, char** arguments) {
  FsysFile* file = nullptr;
  if (FsysInitialize() != 1) return 1;
  if (FsysOpen(&file, fromUTF8(arguments[0]), 1 << 20, 1, nullptr) != 1) return 2;
  if (FsysClose(file, nullptr) != 1) return 3;
  if (!isThere(fromUTF8(arguments[0]))) return 6;
  if (!saysWhere(getPath(fromUTF8(arguments[0])))) return 5;
  FsysUninitialize(Shutdown::eNormal);
  return theFsys == nullptr ? 0 : 4;
}
