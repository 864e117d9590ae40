#pragma once

#include "platform/OsErrors.h"

iOsErrors* linuxErrors();

// The OsError of an errno value.
constexpr uint32_t osErrorOf(int errnoValue) {
  return eOsErrorBase + static_cast<uint32_t>(errnoValue);
}
// The same; it becomes this thread's last error.
uint32_t failWithErrno(int errnoValue);
