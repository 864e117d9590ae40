#pragma once

#include "platform/OsSystemInfo.h"

// The machine's name, processors, pages and environment.
iSystemInfo* linuxSystemInfo();
