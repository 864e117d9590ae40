#pragma once

#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"

// Path arithmetic on text; nothing here looks at the disk. The separator is the file manager's.
using PathString = LightweightString<wchar_t>;

// The folder of a path with its trailing separator, '.' and '..' resolved. Empty when there is
// none.
PLATFORM_EXPORT PathString getPath(const PathString& path);
// The whole path with '.' and '..' resolved and every separator single; one at its end stays. Empty
// when nothing is left of it.
PLATFORM_EXPORT PathString normalisedPath(const PathString& path);
// The part after the last separator.
PLATFORM_EXPORT PathString stripPath(const PathString& path);
// Without the last '.' after the last separator and what follows it.
PLATFORM_EXPORT PathString stripExtension(const PathString& path);
// Exactly one separator between the two.
PLATFORM_EXPORT PathString joinPaths(const PathString& folder, const PathString& name);
// A path written for another system in this one's form: foreign separators become this system's.
PLATFORM_EXPORT PathString fixForeignOSFileName(const PathString& path);
// With exactly what it had, and one separator at its end if it had none. An empty path stays empty.
PLATFORM_EXPORT PathString withSeparator(const PathString& path);
// Without the separator at its end, if it has one.
PLATFORM_EXPORT PathString withoutSeparator(const PathString& path);
// Every two backslashes that follow each other as one; a path that begins with two (a UNC name) as
// it stands.
PLATFORM_EXPORT PathString undoubledBackslashes(const PathString& path);
// A name, without its folder, as the part of a listing's pattern that matches exactly it: '*' and
// '?' as signs of their own (U+DC2A, U+DC3F). They are in no name, so what comes back from here is
// good in a pattern only.
PLATFORM_EXPORT PathString literalName(const PathString& name);
// The name of the file that lists the media locations: "DefNetDrive.txt".
PLATFORM_EXPORT PathString getMediaLocationsFilename();
