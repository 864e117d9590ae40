#pragma once

#include <cstdint>

// What becomes of one system call of the calling thread, and of the threads and processes that it
// makes, from now on and for good: for processes that a test makes to break them.
// Threads    the calling one.
// Errors     false where a process may not filter its own system calls; nothing has changed.
class SystemCallFilter {
public:
  // The call fails with that error, when its first argument is one of these.
  static bool refuse(int call, int error, uint32_t leastFirst = 0, uint32_t mostFirst = UINT32_MAX);
  // The same when its second argument is that.
  static bool refuseSecond(int call, int error, uint32_t second);
  // The call ends the process with SIGSYS.
  static bool kill(int call);
  // The call raises SIGSYS on its thread.
  static bool trap(int call);
  // The same, save where the lower half of its sixth argument is kMark.
  static constexpr uint32_t kMark = 0x6C657421;
  static bool trapUnmarked(int call);
  // Whether the above are allowed here. Changes nothing.
  static bool isAllowed();
};
