#pragma once

#include "platform/OsErrors.h"

// The last error of each thread, and the system's words for it.
iOsErrors* linuxErrors();
