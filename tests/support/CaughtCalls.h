#pragma once

#include <array>
#include <functional>
#include <optional>

// CaughtCalls: what a test does between two system calls of the code that it tests.
// Story      From now on and for good a function runs before each call of one kind that this
//            process makes: for processes that a test makes. Either it lets the call be made, or
//            it answers in its place.
// Threads    the calling one, and those that it makes.
// Errors     false where a process may not filter its own system calls.
// Kept       the function makes no call of that kind itself: that would end the process. It runs in
//            a signal handler: the thread sanitizer takes it for a fault when it asks for memory.
class CaughtCalls {
public:
  using Arguments = std::array<long, 5>;
  // Nothing: the call is made. Otherwise its result, or an error's number below zero.
  using Function = std::function<std::optional<long>(const Arguments&)>;

  static bool begin(int call, Function function);
};
