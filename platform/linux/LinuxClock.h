#pragma once

#include "platform/Clocks.h"

iClock* linuxClock();
