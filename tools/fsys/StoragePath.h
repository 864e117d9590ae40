#pragma once

#include <string>

#include "platform/PathHelpers.h"

// What the command line says of folders, as the registry of drives wants it.
// Threads    any. Nothing looks at a drive.
// Errors     an empty name is refused, and one in a current folder that is gone.

// Whether it is a network's name: two backslashes, a server, a share.
bool isNetworkName(const std::string& name);
// Absolute, `.` and `..` resolved by the text alone. The name of a network's stays as it is.
PathString absolutePath(const std::string& name);
// The same with a separator at its end, which the registry compares with.
PathString locationPath(const std::string& name);
// Whether two locations are one: without regard to case, to a separator at the end, `.` and `..`.
bool isSamePlace(const PathString& a, const PathString& b);
