#pragma once

#include "platform/OsDrives.h"

// The kind of a drive in a word.
const char* driveKind(iDiskDrive::eType type);
