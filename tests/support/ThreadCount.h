#pragma once

#include <sys/types.h>
#include <unistd.h>

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <iterator>
#include <string>
#include <thread>

// ThreadCount: how many threads this process has.
// Story      Taken at rest, before something that makes threads; compared afterwards.
class ThreadCount {
public:
  // Far more than the system takes to forget a thread; only a failure waits so long.
  static constexpr std::chrono::seconds kForgetting{10};

  // A sanitizer makes a thread of its own with the first one of the program: that is counted.
  static size_t atRest() {
    pid_t first = 0;
    std::thread([&first] { first = gettid(); }).join();
    while (std::filesystem::exists("/proc/self/task/" + std::to_string(first)))
      std::this_thread::yield();
    return now();
  }
  static size_t now() {
    std::filesystem::directory_iterator all("/proc/self/task");
    return static_cast<size_t>(std::distance(begin(all), end(all)));
  }
  // A thread that has ended is counted until the system has forgotten it.
  static bool returnsTo(size_t before) {
    for (auto end = std::chrono::steady_clock::now() + kForgetting;
         std::chrono::steady_clock::now() < end && now() > before;)
      std::this_thread::yield();
    return now() <= before;
  }
};
