#pragma once

#include <string>

#include "platform/DriveErrand.h"
#include "platform/PathHelpers.h"

// What the command line says of files and folders, as the registry of drives wants it.
// Story      A path is absolute, without `.`, without doubled separators, and without `..`: behind
//            a symbolic link that is what the system comes to. Names on the way stay as they were
//            said wherever they lead there. Of a path without `..` no drive is asked.
// Threads    the main thread. A drive that is silent is not waited for longer than its asker has
//            patience.
// Errors     an empty name is refused, and one in a current folder that is gone.

// Whether it is a network's name: two backslashes, a server, a share.
bool isNetworkName(const std::string& name);
// Throws when it cannot be told where a `..` leads. The name of a network's stays as it is.
PathString absolutePath(const std::string& name, unsigned patience_ms = kDrivePatience_ms);
// The same with a separator at its end, which the registry compares with. A `..` of which it cannot
// be told is taken back by the text: a location may be missing.
PathString locationPath(const std::string& name);
// Whether two locations are one: without regard to case, to a separator at the end, `.` and `..`.
bool isSamePlace(const PathString& a, const PathString& b);
