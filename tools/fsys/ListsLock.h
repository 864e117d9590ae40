#pragma once

#include "platform/OsFiles.h"
#include "tools/fsys/ProjectFolder.h"

// ListsLock: while it is there, no other process changes the lists of a project folder.
// Story      It holds the file "lists.lock" there, which stays. The system takes the lock from a
//            process that ends, however it ends.
// Threads    one.
// Units      milliseconds.
// Errors     throws a ToolError when the lock cannot be had: at once, or after kPatience_ms while
//            another process has it.
class ListsLock {
public:
  static constexpr double kPatience_ms = 5000;

  explicit ListsLock(const ProjectFolder& project);

private:
  bool take(const PathString& name);

  Qv::Ptr<iFile> file_;
};
