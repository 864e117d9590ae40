#pragma once

#include "platform/OsSystemInfo.h"

iSystemInfo* linuxSystemInfo();
