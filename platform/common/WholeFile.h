#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "platform/PathHelpers.h"

// A small text file, read whole and replaced whole.
// Story      A replacement is written under a name of its own in the same folder, made durable, and
//            takes the file's place in one step. While it is being written it is locked. One that
//            a process left when it ended is removed by the next replacement of the same file,
//            which finds it unlocked.
// Threads    any, also of several processes: the last one to take the file's place wins.
// Errors     false; the thread's last error says why.
// Kept       Where the file system knows no locks a leftover cannot be told from what another is
//            writing. That one is then removed under its writer, who finds it gone and begins anew.
// All of it waits for the drive.
namespace WholeFile {

enum eRead : unsigned { eIsRead, eIsMissing, eIsUnreadable };
enum eLinks : unsigned { eFollow, eReplace };

// More than `mostBytes` are eOsTooLarge, a NUL in it is eOsInvalid. `text` is empty when it was not
// read.
eRead read(const PathString& name, uint64_t mostBytes, std::string& text);
// True when the new content stands and is durable. False also when it stands, but it is not known
// whether it is durable. A file's mode stays; in the place of a link the file is made as a new one.
// A name that leads to something that cannot be read as a file is not replaced (eFollow); with
// eReplace whatever is no folder is.
bool replace(const PathString& name, std::string_view text, eLinks links);
// True as well when there is none.
bool remove(const PathString& name);

}  // namespace WholeFile
