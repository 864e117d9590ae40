#pragma once

#include <cerrno>
#include <cstdint>

#include "platform/OS.h"

// Failures of the file services: each sets the calling thread's last error and answers it.

inline uint32_t osErrorOf(int number) { return eOsErrorBase + static_cast<uint32_t>(number); }

inline uint32_t failWith(uint32_t error) {
  nativeOS()->getErrors()->setLastError(error);
  return error;
}

inline uint32_t failWithErrno(int number) { return failWith(osErrorOf(number)); }
