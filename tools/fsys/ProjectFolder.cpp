#include "tools/fsys/ProjectFolder.h"

#include "platform/DriveErrand.h"
#include "platform/DurableFolder.h"
#include "platform/OS.h"
#include "platform/TextFile.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr const char* kDoing = "opening the project folder";

// Empty when it is not set.
std::string variable(const char* name) {
  std::string value;
  OS()->getSystemInfo()->getEnvironment(name, value);
  return value;
}

std::string stateFolder() {
  std::string state = variable("XDG_STATE_HOME");
  // A relative one is to be ignored.
  if (state.empty() || state.front() != '/') {
    std::string home = variable("HOME");
    if (home.empty())
      throw ToolError(ExitCode::eUsage, "", "",
                      "no project folder: --project, FSYS_PROJECT and HOME say none");
    state = home + "/.local/state";
  }
  return state + "/fsys";
}

PathString chosen(const std::string& option) {
  std::string name = option.empty() ? variable("FSYS_PROJECT") : option;
  PathString path = locationPath(name.empty() ? stateFolder() : name);
  if (isNetworkName(name))
    throw ToolError(ExitCode::eUsage, kDoing, name, "a network's name is no folder here");
  return path;
}

}  // namespace

ProjectFolder::ProjectFolder(const std::string& option) : path_(chosen(option)) {}

void ProjectFolder::check() const { isThere(); }

bool ProjectFolder::isThere() const {
  DriveAnswer folder = askIsFolder(path_);
  if (folder.yes || folder.error == eOsNotFound) return folder.yes;
  throw driveError(kDoing, path_, folder.error == 0 ? uint32_t{eOsNotAFolder} : folder.error);
}

void ProjectFolder::make() const {
  if (isThere()) return;
  PathString path = path_;
  // A list is lost with the folder that it lies in.
  auto made = askDrive(path, [path] { return makeDurableFolder(path); }, TextFile::kPatience_ms);
  if (!made || !*made)
    throw driveError("making the project folder", path_, OS()->getErrors()->getLastError());
}
