#pragma once

#include "fsys/Export.h"
#include "fsys/MaterialFilename.h"
#include "platform/LightweightString.h"
#include "platform/Vector.h"

// What goes with a media file when FsysDirectoryEntry::deleteFile deletes it, as the disk is now.
// Threads    any. Waits for the file's drive, and for that of what a link leads to.

// The folder below the file's own into which it leads as a link, with a separator at its end; empty
// when there is none, or the path names a symbolic link. All that is in it goes.
FSYS_EXPORT LightweightString<wchar_t> linkedFolderOf(const MaterialFilename& file);
// The paths of the files beside it whose names are its own, a dot, and anything.
FSYS_EXPORT Vector<LightweightString<wchar_t>> sideFilesOf(const LightweightString<wchar_t>& path);
