#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "platform/linux/Descriptor.h"
#include "platform/linux/FolderNames.h"

// FolderDeletion: removes a folder that lies below another, with everything in it.
// Story      Opens the folder above, links followed, and goes down one name at a time, following
//            none. From there on it works relative to the folder that it holds open, one at a time
//            however deep the tree is; it goes up only to the folder that it came from, and enters
//            none that it could not leave so. A link is removed itself. What lies on another file
//            system, or cannot be removed, stays, and the rest goes.
// Threads    one; used once. Others may change the tree meanwhile.
// Errors     0, or the system's error number of what went wrong first. EINVAL: the names lead to
//            two folders, or the folder above is another one; EXDEV: another file system; ESTALE: a
//            folder was moved meanwhile. When the folder itself cannot be reached, nothing is
//            changed.
class FolderDeletion {
public:
  // The folder above is the one in which a file of that name begins so; of no name: any.
  FolderDeletion(const std::string& witness, const std::string& start)
      : witness_(witness), start_(start) {}

  // `below`: the names that lead down from `folder`, at least one. `whole`: the same folder's own
  // name.
  int remove(const std::string& folder, const std::vector<std::string>& below,
             const std::string& whole);

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
  bool hasWitness() const;
  int goDown(const std::string& folder, const std::vector<std::string>& below);
  void empty();
  void enter(const std::string& name);
  void begin(Folder folder, const std::string& name);
  void leave();
  void removeName(const std::string& name, int flags);
  void note(int error);

  const std::string& witness_;
  const std::string& start_;
  Folder here_;
  std::vector<Level> levels_;  // the last is the open one's
  FolderNames names_;
  int error_ = 0;
};
