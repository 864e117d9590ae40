#include "tools/fsys/LocationsRemoveCommand.h"

#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/StoragePath.h"
#include "tools/fsys/Text.h"

CLI::App* LocationsRemoveCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, kLocations, "remove", "Forget a location, or leave out a drive; media stays");
  addWord(command, "PATH", path_, "The location's folder");
  return command;
}

ExitCode LocationsRemoveCommand::work() {
  PathString path = locationPath(path_);
  Qv::Ptr<MediaDrive> drive = MediaDrives::at(path);
  if (!drive && !lists().added.has(path))
    throw ToolError(
        ExitCode::eNotFound, "removing the location", bytesOf(path),
        lists().unmounted.has(path) ? "it is unmounted already" : "no such location is registered");
  bool wasFound = drive && drive->isAutoDiscovered();
  PathString registered = drive ? MediaDrives::rootOf(*drive) : path;
  if (drive) DiskManager::removeMediaLocation(registered);
  settleLists(registered, wasFound);
  putName(results(), "path", bytesOf(registered));
  results()["unmounted"] = wasFound;
  say(inQuotes(bytesOf(registered)) +
      (wasFound ? " is left out from now on" : " is no location any more"));
  return ExitCode::eSuccess;
}

// The registry does not tell whether the lists were written, and takes one line of several away.
// What is not as it should be is written once more, to hear why not.
void LocationsRemoveCommand::settleLists(const PathString& path, bool wasFound) {
  lists().load();
  if (wasFound && !lists().unmounted.has(path)) lists().unmounted.append(path);
  lists().added.remove(path);
}
