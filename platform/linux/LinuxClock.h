#pragma once

#include "platform/Clocks.h"

// The monotonic clock; it does not count while the machine is suspended.
iClock* linuxClock();
