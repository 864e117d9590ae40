#include "tools/fsys/StorageCommand.h"

#include <CLI/CLI.hpp>
#include <optional>

#include "fsys/DiskManager.h"
#include "fsys/SystemCache.h"
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
// and tells nobody of that.
void StorageCommand::startRegistry() {
  lists_->load();
  SystemCache::invalidate();
  DiskManager::init(project_->path());
  if (!lists_->unmounted.lines().empty()) SystemCache::initialise(true);
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
