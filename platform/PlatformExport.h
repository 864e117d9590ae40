#pragma once

// What of the base library is seen outside the shared library. Everything else is hidden.
#define PLATFORM_EXPORT __attribute__((visibility("default")))
