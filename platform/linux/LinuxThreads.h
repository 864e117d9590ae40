#pragma once

#include "platform/OsThreads.h"
#include "platform/linux/LinuxThread.h"

// The thread service: events on futexes, task queues, and threads with 16-bit identifiers.
iThreads* linuxThreads();
