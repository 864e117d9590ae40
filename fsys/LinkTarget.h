#pragma once

#include "platform/LightweightString.h"
#include "platform/OS.h"

// Whether a link's target, as localTarget gives it, may be looked for and opened. It is somebody
// else's text: without a folder of its own it would be another file wherever this process happens
// to be. So would a name that is served, since a link is followed on the disk.
// Threads    any; pure.
inline bool hasOwnFolder(const LightweightString<wchar_t>& target) {
  return target.view().starts_with(OS()->getFileManager()->getSeparator());
}
