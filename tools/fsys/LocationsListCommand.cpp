#include "tools/fsys/LocationsListCommand.h"

#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

CLI::App* LocationsListCommand::defineStorage(CLI::App& app) {
  return addCommand(app, kLocations, "list",
                    "List the media drives, and locations that are away or unmounted");
}

ExitCode LocationsListCommand::work() {
  Table table({{"drive"}, {"name"}, {"state"}, {"path"}});
  results()["locations"] = Json::array();
  tellDrives(table);
  for (const PathString& path : DiskManager::getMissingMediaLocations())
    tellPath(table, path, "missing");
  for (const PathString& path : lists().unmounted.lines())
    if (!MediaDrives::at(path)) tellPath(table, path, "unmounted");
  say(table);
  return ExitCode::eSuccess;
}

void LocationsListCommand::tellDrives(Table& table) {
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all()) {
    const char* state = drive->isAutoDiscovered() ? "found" : "added";
    Json entry;
    MediaDrives::put(entry, *drive);
    entry["state"] = state;
    results()["locations"].push_back(entry);
    table.add({MediaDrives::codeOf(drive->getId()), escaped(MediaDrives::nameOf(*drive)), state,
               escaped(MediaDrives::pathOf(*drive))});
  }
}

void LocationsListCommand::tellPath(Table& table, const PathString& path, const char* state) {
  Json entry;
  entry["drive"] = nullptr;
  putName(entry, "path", bytesOf(path));
  entry["state"] = state;
  results()["locations"].push_back(entry);
  table.add({"-", "-", state, escaped(bytesOf(path))});
}
