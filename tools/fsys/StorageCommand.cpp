#include "tools/fsys/StorageCommand.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <optional>

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
#include "platform/OS.h"
#include "tools/fsys/DriveQuestion.h"
#include "tools/fsys/ListsLock.h"
#include "tools/fsys/MediaDrives.h"
#include "tools/fsys/Table.h"
#include "tools/fsys/Text.h"

namespace {

// RegistryEnd: the registry ends with it.
class RegistryEnd {
public:
  RegistryEnd() = default;
  ~RegistryEnd() { DiskManager::deInit(); }
  RegistryEnd(const RegistryEnd&) = delete;
  RegistryEnd& operator=(const RegistryEnd&) = delete;
};

// Whether the registry may take it for a media drive without being told.
bool mayBeFound(iDiskDrive& disk) {
  PathString media = joinPaths(disk.getRootPath(), MediaDrive::getFolder(eCookieVision));
  return disk.getType() == iDiskDrive::eFixed && !disk.isExcluded() && disk.isAvailable() &&
         askIsFolder(media).yes && askIsWritable(media).yes;
}

}  // namespace

CLI::App* StorageCommand::define(CLI::App& app) {
  CLI::App* command = defineStorage(app);
  command
      ->add_option("--project", projectOption_,
                   "The folder of the lists (FSYS_PROJECT, or fsys in the state folder)")
      ->type_name("FOLDER");
  return command;
}

ExitCode StorageCommand::execute() {
  project_ = std::make_unique<ProjectFolder>(projectOption_);
  putName(results(), "project", bytesOf(project_->path()));
  std::optional<ListsLock> lock;
  if (changesLists()) {
    project_->make();
    lock.emplace(*project_);
  } else {
    project_->check();
  }
  lists_ = std::make_unique<LocationLists>(project_->path());
  RegistryEnd end;
  startRegistry();
  return work();
}

// The registry hands each drive to the catalogue. Those that the user unmounted it takes out again,
// and tells nobody of that. Their files may have displaced others: the catalogue is filled anew.
void StorageCommand::startRegistry() {
  lists_->load();
  SystemCache::invalidate();
  DiskManager::init(project_->path());
  if (usesCatalogue() && isAnyUnmountedThere()) SystemCache::initialise(true);
  if (!hasReadList())
    throw ToolError(ExitCode::eIo, "reading the list", lists_->added.name(),
                    "it could not be read a second time");
}

// The registry does not tell: what it read is a drive now, or missing.
bool StorageCommand::hasReadList() const {
  if (lists_->added.lines().empty()) return true;
  const PathString& first = lists_->added.lines().front();
  return MediaDrives::isMissing(first) || MediaDrives::at(first);
}

bool StorageCommand::isAnyUnmountedThere() const {
  Vector<Qv::Ptr<iDiskDrive>> disks = OS()->getFileManager()->getDisks();
  return std::any_of(disks.begin(), disks.end(), [this](const Qv::Ptr<iDiskDrive>& disk) {
    return lists_->unmounted.has(disk->getRootPath());
  });
}

std::vector<std::string> StorageCommand::places() {
  std::vector<std::string> all;
  for (const Qv::Ptr<iDiskDrive>& disk : OS()->getFileManager()->getDisks())
    if (mayBeFound(*disk)) all.push_back("found " + bytesOf(disk->getRootPath()));
  lists_->load();
  for (const PathString& line : lists_->added.lines())
    all.push_back("added " + bytesOf(line) + " on " + bytesOf(diskOf(line)));
  for (const PathString& line : lists_->unmounted.lines())
    all.push_back("unmounted " + bytesOf(line));
  return all;
}

void StorageCommand::say(const Table& table) const {
  for (const std::string& line : table.lines()) say(line);
}

void StorageCommand::tellMissing() {
  results()["missing"] = Json::array();
  for (const PathString& path : DiskManager::getMissingMediaLocations()) {
    Json json;
    putName(json, "path", bytesOf(path));
    results()["missing"].push_back(json);
    say(inQuotes(bytesOf(path)) + " is away");
  }
}
