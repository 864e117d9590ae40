#pragma once

#include <optional>

#include "fsys/DriveId.h"
#include "platform/PathHelpers.h"

// What stands behind a prefix of a network's name, with the separator that it begins with: empty
// for the prefix itself, nothing when the prefix does not end where a component ends. Without
// regard to case.
std::optional<PathString> restBehind(const PathString& name, const PathString& prefix);

// LocalName: where a network's name leads on this machine.
struct LocalName {
  PathString path;
  DriveId drive;  // the media drive that it lies on, if it is one's
};

// By the registered drives, else by the shares of this machine: the longest name that fits in whole
// components, where DiskManager takes the first that the name begins with. Nothing when it leads
// nowhere, or out of what is served.
std::optional<LocalName> localNameOf(const PathString& name);
