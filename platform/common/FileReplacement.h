#pragma once

#include <string_view>

#include "platform/OsFiles.h"
#include "platform/PathHelpers.h"

// FileReplacement: new content on its way to take a file's place.
// Story      Created beside the file, written, given the file's name. Without the last step it is
//            gone when this goes, if the drive allows it.
// Threads    one.
// Errors     false; the thread's last error says why, also after this has gone.
class FileReplacement {
public:
  // `name`: of the file.
  explicit FileReplacement(const PathString& name) : name_(name) {}
  ~FileReplacement();
  FileReplacement(const FileReplacement&) = delete;
  FileReplacement& operator=(const FileReplacement&) = delete;

  // Removes what replacements of that file left that nobody writes any more.
  static void sweep(const PathString& name);
  // An empty file of its own, locked.
  bool create();
  // With the mode of the file `modeOf`, if that is not null. Durable when it answers true.
  bool write(std::string_view text, const PathString& modeOf);
  bool takePlace();

private:
  PathString name_;
  PathString temporary_;
  Qv::Ptr<iFile> file_;  // null: there is nothing to remove
};

// The folder of a file's name as it stands there, its separator included.
PathString folderAsNamed(const PathString& name);
