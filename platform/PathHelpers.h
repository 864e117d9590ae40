#pragma once

#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"

// Path arithmetic on text; nothing here looks at the disk. The separator is the file manager's.
using PathString = LightweightString<wchar_t>;

// The folder of a path with its trailing separator, `.` and `..` resolved. Empty when there is
// none.
PLATFORM_EXPORT PathString getPath(const PathString& path);
// The part after the last separator.
PLATFORM_EXPORT PathString stripPath(const PathString& path);
// Without the last '.' after the last separator and what follows it.
PLATFORM_EXPORT PathString stripExtension(const PathString& path);
// Exactly one separator between the two.
PLATFORM_EXPORT PathString joinPaths(const PathString& folder, const PathString& name);
// A path written for another system in this one's form: foreign separators become this system's.
PLATFORM_EXPORT PathString fixForeignOSFileName(const PathString& path);
