#pragma once

#include "platform/OsMemory.h"

iMemoryManager* linuxMemoryManager();
