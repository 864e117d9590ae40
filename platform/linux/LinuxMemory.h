#pragma once

#include "platform/OsMemory.h"

// The heap: oneTBB's allocator, or malloc where FSYS_ALLOCATOR_TBB is not defined.
iMemoryManager* linuxMemoryManager();
