#pragma once

#include "platform/OsSystemInfo.h"
#include "platform/PathHelpers.h"

// The folder of this user's configuration: fsys in the folder that XDG_CONFIG_HOME names, else in
// .config of the home folder. Empty when there is no place for one.
// Threads    any; works before main.
PathString configFolder(const iSystemInfo& system);
