#pragma once

#include <string>

#include "platform/PathHelpers.h"

// ProjectFolder: the folder that holds the lists of locations.
// Story      What the option says, else FSYS_PROJECT, else "fsys" in the user's state folder. It is
//            made by the first command that writes to it; until then there are no lists.
// Errors     throws ToolErrors.
class ProjectFolder {
public:
  explicit ProjectFolder(const std::string& option);

  // Absolute, with a separator at its end.
  const PathString& path() const { return path_; }
  // Throws when what has that name is no folder, or does not answer.
  void check() const;
  void make() const;

private:
  bool isThere() const;

  PathString path_;
};
