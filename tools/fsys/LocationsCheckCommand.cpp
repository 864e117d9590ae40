#include "tools/fsys/LocationsCheckCommand.h"

#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

namespace {

const char* yesOrNo(bool yes) { return yes ? "yes" : "no"; }

}  // namespace

CLI::App* LocationsCheckCommand::defineStorage(CLI::App& app) {
  return addCommand(app, kLocations, "check",
                    "Say of each line of the lists whether it can be used");
}

ExitCode LocationsCheckCommand::work() {
  Table table({{"list"}, {"there"}, {"writable"}, {"prepared"}, {"registered"}, {"path"}});
  results()["locations"] = Json::array();
  std::string firstBad;
  size_t bad = 0;
  for (const PathString& path : lists().added.lines()) {
    if (check(table, path, "added")) continue;
    if (bad++ == 0) firstBad = bytesOf(path);
  }
  for (const PathString& path : lists().unmounted.lines()) check(table, path, "unmounted");
  say(table);
  if (bad > 0)
    throw ToolError(ExitCode::eNotFound, "checking", firstBad, "it cannot be used now")
        .withRemark(text("%zu of %zu locations cannot", bad, lists().added.lines().size()));
  return ExitCode::eSuccess;
}

bool LocationsCheckCommand::check(Table& table, const PathString& path, const char* list) {
  DriveAnswer there = askIsFolder(path);
  bool isWritable = there.yes && askIsWritable(path).yes;
  bool isPrepared = there.yes && askIsPrepared(path).yes;
  Qv::Ptr<MediaDrive> drive = MediaDrives::at(path);
  Json entry;
  putName(entry, "path", bytesOf(path));
  entry["list"] = list;
  entry["there"] = there.yes;
  entry["answers"] = !there.isSilent();
  entry["writable"] = isWritable;
  entry["prepared"] = isPrepared;
  entry["drive"] = drive ? Json(MediaDrives::codeOf(drive->getId())) : Json(nullptr);
  results()["locations"].push_back(entry);
  table.add({list, there.isSilent() ? "no answer" : yesOrNo(there.yes), yesOrNo(isWritable),
             yesOrNo(isPrepared), drive ? MediaDrives::codeOf(drive->getId()) : "no",
             escaped(bytesOf(path))});
  return there.yes && isWritable && drive;
}
