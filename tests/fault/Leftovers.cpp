#include "tests/fault/Leftovers.h"

#include <sched.h>

#include <chrono>
#include <filesystem>
#include <iterator>

#include "tests/fault/FaultLayer.h"

namespace {

constexpr std::chrono::seconds kForgetting(2);

unsigned entries(const char* folder) {
  std::error_code ignored;
  std::filesystem::directory_iterator all(folder, ignored);
  return static_cast<unsigned>(std::distance(begin(all), end(all)));
}

template <typename T>
std::string more(const char* what, T before, T after) {
  if (before == after) return "";
  return std::string(what) + " " + std::to_string(after) + " instead of " + std::to_string(before) +
         "; ";
}

}  // namespace

Leftovers::Leftovers(FaultLayer& layer)
    : layer_(layer),
      descriptors_(descriptors()),
      threads_(threads()),
      regionBytes_(regionBytes()),
      pieces_(layer.heap().live()) {}

unsigned Leftovers::descriptors() { return entries("/proc/self/fd"); }
unsigned Leftovers::threads() { return entries("/proc/self/task"); }
uint64_t Leftovers::regionBytes() const { return layer_.getVirtualMemory()->figures().bytesInUse; }

long Leftovers::piecesSince() const { return layer_.heap().live() - pieces_; }

std::string Leftovers::since() const {
  auto end = std::chrono::steady_clock::now() + kForgetting;
  while (threads() > threads_ && std::chrono::steady_clock::now() < end) sched_yield();
  return more("descriptors", descriptors_, descriptors()) + more("threads", threads_, threads()) +
         more("region bytes", regionBytes_, regionBytes());
}
