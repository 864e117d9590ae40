#pragma once

#include <vector>

#include "fsys/SystemCache.h"
#include "tools/fsys/MediaFile.h"
#include "tools/fsys/StorageCommand.h"

// RmCommand: fsys rm COOKIE: deletes the files of a piece of media, with what lies beside them.
// Story      What would go is looked for and said; then it asks; then each file is deleted as the
//            library deletes it, and what is left of what was said is told. So is what else has
//            that cookie in the media folders, also what the catalogue does not have.
class RmCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  bool usesCatalogue() const override { return true; }
  ExitCode work() override;

private:
  // One file, and what goes with it.
  struct Doomed {
    MediaFile file;
    PathString disk;    // that holds it, as diskOf
    PathString folder;  // below it; empty: none
    std::vector<PathString> beside;
    bool isDeleted = false;
    std::vector<ToolError> failures = {};  // why it was not deleted
    std::vector<ToolError> left = {};  // why the folder or one beside it is not known to be gone

    // Whether something would go that was not said, or another file than was said. `now`: the disk
    // that holds the path, as diskOf.
    bool hasChanged(const PathString& now) const;
    bool leadsElsewhere() const;
    bool isGone() const;
    Json json() const;
  };

  SystemCache::Entry requireEntry() const;
  void plan(FsysDirectoryEntry& entry);
  static Doomed doomed(const MediaFile& file);
  void announce() const;
  void announce(const std::string& line) const;
  std::string wordsOf(const Doomed& doomed) const;
  bool goes(const PathString& path) const;
  bool asks() const;
  bool mayGoOn() const;
  void deleteAll(FsysDirectoryEntry& entry);
  static void deleteOne(const Qv::Ptr<FsysDirectoryEntry>& entry, Doomed& doomed);
  static void lookForLeft(Doomed& doomed);
  void tellJson();
  void tellStaying();
  void tellStaying(const Cookie& cookie, const PathString& folder);
  std::vector<ToolError> failures() const;
  void sayFailures(size_t from) const;
  void tellFailures() const;
  size_t countOf() const;

  std::string cookie_;
  bool high_ = false;
  bool proxy_ = false;
  bool yes_ = false;
  bool dryRun_ = false;
  std::vector<Doomed> doomed_;
  std::vector<ToolError> notLookedAt_;  // folders in which more may stay
};
