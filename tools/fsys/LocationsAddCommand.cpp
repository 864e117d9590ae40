#include "tools/fsys/LocationsAddCommand.h"

#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

namespace {

constexpr const char* kDoing = "adding the location";

}  // namespace

CLI::App* LocationsAddCommand::defineStorage(CLI::App& app) {
  CLI::App* command = addCommand(app, kLocations, "add", "Register a folder as a place for media");
  addWord(command, "PATH", path_, "The folder");
  return command;
}

ExitCode LocationsAddCommand::work() {
  PathString path = locationPath(path_);
  refuse(path);
  bool wasUnmounted = lists().unmounted.has(path);
  DiskManager::addMediaLocation(path);
  Qv::Ptr<MediaDrive> drive = MediaDrives::at(path);
  settleLists(path, drive ? drive->isAutoDiscovered() : wasUnmounted);
  if (!drive)
    throw MediaDrives::notRegistered(kDoing, path)
        .withRemark("it stands in the list, and is tried again at the next start");
  MediaDrives::put(results(), *drive);
  say(inQuotes(bytesOf(path)) + " is " + MediaDrives::titleOf(drive->getId()) + " now, called " +
      inQuotes(MediaDrives::nameOf(*drive)));
  return ExitCode::eSuccess;
}

// What the list could not give back, what is there already, and what is no place for media.
void LocationsAddCommand::refuse(const PathString& path) const {
  std::string name = bytesOf(path);
  if (!isNetworkName(path_) && name.find('\\') != std::string::npos)
    throw ToolError(ExitCode::eUsage, kDoing, name, "a backslash means a folder in the list");
  if (!TextFile::isLine(name))
    throw ToolError(ExitCode::eUsage, kDoing, name,
                    "such a name cannot stand on a line of the list");
  if (Qv::Ptr<MediaDrive> drive = MediaDrives::at(path))
    throw ToolError(ExitCode::eExists, kDoing, name,
                    "it is " + MediaDrives::titleOf(drive->getId()) + " already, as " +
                        inQuotes(MediaDrives::pathOf(*drive)));
  requireFolder(kDoing, path);
  requireWritable(kDoing, path);
}

// The registry does not tell whether the lists were written. What is not there is written once
// more, to hear why not.
void LocationsAddCommand::settleLists(const PathString& path, bool isFoundAgain) {
  lists().load();
  lists().unmounted.remove(path);
  if (!isFoundAgain && !lists().added.has(path)) lists().added.append(path);
}
