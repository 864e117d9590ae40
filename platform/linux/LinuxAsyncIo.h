#pragma once

#include "platform/OsAsyncIo.h"

// Transfers on a ring of the kernel's, or on threads where a ring cannot be had or FSYS_IO=threads
// says so.
iAsyncIo* linuxAsyncIo();
