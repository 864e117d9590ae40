#pragma once

#include <memory>
#include <string>
#include <vector>

#include "tools/fsys/Command.h"
#include "tools/fsys/LocationList.h"
#include "tools/fsys/ProjectFolder.h"

class Table;

// StorageCommand: what the commands have in common that ask the registry of media drives.
// Story      It finds the project folder, reads the lists, starts the registry and has the command
//            do its work; then the registry is ended. A command that changes lists holds their lock
//            all the while. Lists that cannot be read are a failure: what is left out of the
//            registry for that would be told wrongly.
// Threads    the main thread.
class StorageCommand : public Command {
public:
  bool usesEngine() const override { return false; }

protected:
  CLI::App* define(CLI::App& app) final;
  ExitCode execute() final;

  // What the groups of commands are for.
  static constexpr Group kLocations = {"locations", "The places where media is kept"};
  static constexpr Group kTasks = {"task", "The drive that a task records to"};
  static constexpr Group kNames = {"unc", "Names that other machines know paths by"};

  virtual CLI::App* defineStorage(CLI::App& app) = 0;
  virtual bool changesLists() const { return false; }
  // Whether it asks the catalogue.
  virtual bool usesCatalogue() const { return false; }
  // The registry is there.
  virtual ExitCode work() = 0;

  LocationLists& lists() { return *lists_; }
  // Reads the lists and starts the registry, which fills the catalogue; for a command that does not
  // use it, it may have media of unmounted drives. What both had before is forgotten.
  void startRegistry();
  // Says which locations are away: their media is not in the catalogue.
  void tellMissing();
  // What decides which drives the registry has: the disks with media, and the lines of the lists,
  // which are read.
  std::vector<std::string> places();
  void say(const Table& table) const;
  using Command::say;

private:
  bool hasReadList() const;
  bool isAnyUnmountedThere() const;

  std::string projectOption_;
  std::unique_ptr<ProjectFolder> project_;
  std::unique_ptr<LocationLists> lists_;
};
