#pragma once

#include <string>
#include <utility>
#include <vector>

#include "fsys/FsysDirectoryEntry.h"
#include "fsys/SystemCache.h"
#include "tools/fsys/FolderWatch.h"
#include "tools/fsys/NotifyListener.h"
#include "tools/fsys/StorageCommand.h"

// WatchCommand: fsys watch: the notifications of the catalogue and the registry, as they come.
// Story      A process hears of its own changes alone. So it looks at the media folders, the drives
//            and the lists again and again, does what an application does then, and prints what the
//            library tells of that. Files that are gone are forgotten, and not deleted: of that the
//            library tells nothing, and the command says so itself.
class WatchCommand : public StorageCommand {
protected:
  CLI::App* defineStorage(CLI::App& app) override;
  ExitCode work() override;
  bool usesCatalogue() const override { return true; }
  bool tellsLines() const override { return true; }

private:
  void watch();
  void lookAtRegistry();
  void openFolders();
  void lookAtFolders();
  void lookAt(FolderWatch& folder);
  void come(const FolderWatch& folder, const FolderWatch::File& file);
  void gone(const FolderWatch& folder, const FolderWatch::File& file) const;
  void tellBegin() const;
  // The file that is coming. "ignored" stands behind it when the catalogue does not take it.
  void tellFile(const char* what) const;
  void tellRegistry(const NotifyMsg& message);
  void tell(const std::string& what, const std::string& cookie, const PathString& file,
            bool isIgnored = false) const;

  double interval_s_ = 2;
  std::vector<FolderWatch> folders_;
  double taken_ms_ = 0;  // by the last look at all that answered
  // While it is added.
  std::pair<Cookie, MaterialFilename> coming_;
  // As they were when that was told last.
  std::vector<std::string> places_;
  std::vector<bool> online_;
  std::vector<double> spaces_mib_;
};
