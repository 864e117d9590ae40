#pragma once

#include "platform/OsMemory.h"

iVirtualMemory* linuxVirtualMemory();
