#include "tools/fsys/DrivesCommand.h"

#include <algorithm>
#include <utility>

#include "fsys/DiskManager.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Text.h"

namespace {

constexpr double kPoll_ms = 1000;

// The entry of a root; of several mounts at one place, the last.
const DriveEntry* entryOf(const std::vector<DriveEntry>& entries, const std::string& root) {
  auto place = std::find_if(entries.rbegin(), entries.rend(),
                            [&](const DriveEntry& entry) { return entry.root == root; });
  return place == entries.rend() ? nullptr : &*place;
}

}  // namespace

CLI::App* DrivesCommand::defineStorage(CLI::App& app) {
  CLI::App* command =
      addCommand(app, "drives", "List the drives, and why each is or is no media drive");
  addFlag(command, "--all", all_, "Also those that are excluded, the system's own among them");
  addFlag(command, "--watch", watch_, "Go on, and say what comes, goes and changes");
  return command;
}

ExitCode DrivesCommand::work() {
  Entries entries = look();
  Json list = Json::array();
  for (const DriveEntry& entry : entries) list.push_back(entry.json());
  say(DriveReport::table(entries));
  if (!watch_) {
    results()["drives"] = list;
    return ExitCode::eSuccess;
  }
  Json first;
  first["drives"] = list;
  tellNow(first);
  watch(std::move(entries));
  return ExitCode::eSuccess;
}

DrivesCommand::Entries DrivesCommand::look() {
  DriveReport report(lists());
  return all_ ? report.entries : report.places();
}

// Until it is interrupted.
void DrivesCommand::watch(Entries known) {
  for (;;) {
    Interrupt::wait(-1, kPoll_ms);
    restartRegistry();
    Entries now = look();
    tellChanges(known, now);
    known = std::move(now);
  }
}

// Where what it was made from has changed: it scans all media.
void DrivesCommand::restartRegistry() {
  std::vector<std::string> facts = places();
  for (const PathString& line : lists().added.lines())
    facts.push_back(askIsFolder(line).yes && askIsWritable(line).yes ? "usable" : "not usable");
  for (const Qv::Ptr<MediaDrive>& drive : MediaDrives::all())
    facts.push_back(bytesOf(DiskManager::getMediaLocationUserName(drive->getId())));
  if (facts == facts_) return;
  facts_ = std::move(facts);
  startRegistry();
}

void DrivesCommand::tellChanges(const Entries& before, const Entries& after) const {
  for (const DriveEntry& entry : before)
    if (!entryOf(after, entry.root)) tellChange("gone", entry);
  for (const DriveEntry& entry : after) {
    const DriveEntry* known = entryOf(before, entry.root);
    if (&entry != entryOf(after, entry.root)) continue;
    if (!known)
      tellChange("new", entry);
    else if (!entry.isAs(*known))
      tellChange("changed", entry);
  }
}

void DrivesCommand::tellChange(const char* change, const DriveEntry& entry) const {
  Json json;
  json["change"] = change;
  json["drive"] = entry.json();
  tellNow(json);
  say(text("%-8s ", change) + escaped(entry.root) + ": " + entry.words());
}
