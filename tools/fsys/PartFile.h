#pragma once

#include <sys/types.h>

#include <string>

// PartFile: a file that gets its name only when it is whole.
// Story      It is made under a name of its own beside its destination (".fsys-PROCESS-N.part"),
//            filled by whoever wants, and takes the destination's place by one rename. What is not
//            committed is removed.
// Threads    one at a time.
// Errors     throws ToolErrors. Without `replace` an existing destination is refused, at the start
//            and again at the end.
class PartFile {
public:
  PartFile(const std::string& destination, mode_t mode, bool replace);
  ~PartFile();
  PartFile(const PartFile&) = delete;
  PartFile& operator=(const PartFile&) = delete;

  const std::string& name() const { return name_; }
  // Makes the bytes safe, renames, and makes that safe too; a failure of this last step says that
  // the file has its name.
  void commit();

private:
  void rename();
  void syncName() const;

  std::string destination_;
  bool replace_;
  std::string name_;
  bool there_ = false;
};
