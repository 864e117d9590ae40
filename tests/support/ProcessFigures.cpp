#include "tests/support/ProcessFigures.h"

#include <filesystem>
#include <iterator>
#include <thread>

#include "platform/OS.h"

namespace {

constexpr double kLettingGo_ms = 10'000;

uint64_t entries(const char* folder) {
  std::error_code ignored;
  std::filesystem::directory_iterator all(folder, ignored);
  return static_cast<uint64_t>(std::distance(begin(all), end(all)));
}

std::string more(const char* what, uint64_t before, uint64_t after) {
  if (after <= before) return "";
  return std::string(what) + ": " + std::to_string(after) + " and not " + std::to_string(before) +
         "; ";
}

}  // namespace

ProcessFigures ProcessFigures::now() {
  return {entries("/proc/self/fd"), entries("/proc/self/task"),
          OS()->getVirtualMemory()->figures().bytesInUse};
}

std::string ProcessFigures::whatIsLeft() const {
  double deadline_ms = Qv::now() + kLettingGo_ms;
  for (;;) {
    ProcessFigures is = now();
    std::string left = more("descriptors", descriptors, is.descriptors) +
                       more("threads", threads, is.threads) +
                       more("region bytes", regionBytes, is.regionBytes);
    if (left.empty() || Qv::now() > deadline_ms) return left;
    std::this_thread::yield();
  }
}
