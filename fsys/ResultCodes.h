#pragma once

#include <cstdint>

// Result codes of the engine. What the platform reports instead is an OsError, which never meets
// them.
enum ResultCode : uint32_t {
  eResultFailed = 0,
  eResultOk = 1,
  eResultListFull = 8,        // request list full, or too many deferred requests
  eResultTooSlow = 9,         // a write that was too slow
  eResultNoBufferSpace = 10,  // no buffer when starting a request
};
