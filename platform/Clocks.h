#pragma once

#include <cstdint>

#include "platform/PlatformExport.h"

// iClock: the clock behind the functions below.
// Threads    any: what one thread has read is not after what another reads later.
// Errors     none.
class iClock {
public:
  virtual double now_ms() const = 0;

protected:
  ~iClock() = default;
};

namespace Qv {
// Monotonic time in milliseconds, with fractions; its zero is arbitrary.
PLATFORM_EXPORT double now();
}  // namespace Qv

// The same, in whole milliseconds; wraps after 49 days.
PLATFORM_EXPORT uint32_t service_get_msecs();
// The same as Qv::now().
PLATFORM_EXPORT double service_get_msecs_precise();
