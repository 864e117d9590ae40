#pragma once

#include <dirent.h>

#include <string>
#include <string_view>

#include "platform/OsFiles.h"

// FolderListing: the regular files of one folder whose names match a pattern.
// Story      Reads the folder once, and asks for the size of each file that matches, relative to
//            the folder. A link counts as the file that it leads to; one that leads to none, and a
//            file that is gone when it is asked for, is left out.
// Threads    one.
// Errors     all or nothing: a file that cannot be told about is an error of the whole.
class FolderListing {
public:
  FolderListing(const std::string& folder, std::wstring_view pattern);

  // 0, or the system's error number; there are no files then.
  int error() const { return error_; }
  // Sorted by name, in the order of the code points.
  Vector<iFileManager::ListedFile>& files() { return files_; }

private:
  int read(const std::string& folder);
  int take(int folder, const dirent& entry);

  std::wstring_view pattern_;
  Vector<iFileManager::ListedFile> files_;
  int error_;
};
