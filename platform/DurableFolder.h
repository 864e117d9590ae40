#pragma once

#include "platform/LightweightString.h"
#include "platform/PlatformExport.h"

// Makes a folder that a loss of power does not take away, and its missing parents likewise: what is
// saved in a folder is lost with it. True, and nothing done, when it is there already. False when
// one of them cannot be made or may not be durable; the thread's last error says why.
// Threads    any. Waits for the drive, so it is called from an errand.
PLATFORM_EXPORT bool makeDurableFolder(const LightweightString<wchar_t>& path);
