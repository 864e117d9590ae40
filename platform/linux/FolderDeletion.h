#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FolderNames.h"

// FolderDeletion: removes a folder that lies below another, with everything in it.
// Story      Goes down from an open folder, one name at a time, and follows no link. It works
//            relative to the folder that it holds open, one at a time however deep the tree is; it
//            goes up only to the folder that it came from, and enters none that it could not leave
//            so. A link is removed itself. What lies on another file system, or cannot be removed,
//            stays, and the rest goes.
// Threads    one; used once. Others may change the tree meanwhile.
// Errors     0, or the system's error number of what went wrong first. EINVAL: the names lead to
//            two folders; EXDEV: another file system; ESTALE: a folder was moved meanwhile. When
//            the folder itself cannot be reached, nothing is changed.
class FolderDeletion {
public:
  // `above`: an open folder, which stays the caller's. `below`: the names that lead down from it,
  // at least one. `whole`: the same folder's own name.
  int remove(int above, const std::vector<std::string>& below, const std::string& whole);

private:
  // What tells a folder from every other.
  struct Place {
    uint64_t drive = 0;
    uint64_t mount = 0;
    uint64_t number = 0;

    bool operator==(const Place&) const = default;
    bool isBeside(const Place& other) const { return drive == other.drive && mount == other.mount; }
  };
  struct Folder {
    Descriptor descriptor;
    Place place;
  };
  // A folder on the way down from the first to the one that is open.
  struct Level {
    Place place;
    std::string name;
    std::vector<std::string> folders;  // in it, and not yet entered
  };

  static int lookAt(int folder, const char* name, int flags, Place& place);
  static int open(int above, const char* name, int flags, Folder& folder);
  static int openAbove(const Folder& folder, const Place& place, Folder& above);
  int openBelow(const std::string& name, int flags, Folder& folder) const;
  int goDown(int above, const std::vector<std::string>& below);
  void empty();
  void enter(const std::string& name);
  void begin(Folder folder, const std::string& name);
  void leave();
  void removeName(const std::string& name, int flags);
  void note(int error);

  Folder here_;
  std::vector<Level> levels_;  // the last is the open one's
  FolderNames names_;
  int error_ = 0;
};
