#pragma once

#include <string>

#include "tools/fsys/PlainFile.h"

// DurableFile: makes what was written to a file durable, on a descriptor of its own.
// Story      It is made before the first byte is written and lives until the last: a descriptor is
//            told of those write-backs that failed while it was open, and of no others.
// Threads    one at a time.
// Errors     throws ToolErrors; then nothing that was written since the last flush is durable.
class DurableFile {
public:
  // `isNew`: the file was made just now, so its name has to be made durable as well.
  DurableFile(const std::string& name, bool isNew);

  // Returns when every byte that the system has taken of the file, and its name, are on the drive.
  void flush();

private:
  std::string name_;
  PlainFile file_;
  bool nameIsDurable_;
};
