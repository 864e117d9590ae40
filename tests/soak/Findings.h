#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>

#include "tests/soak/SoakClock.h"

// Findings: what was not as it must be. Each is said at once, with the minute and the seed.
// Threads    any, with any locks held: it calls nothing of the library's.
class Findings {
public:
  static constexpr uint64_t kMostSaid = 50;

  Findings(const SoakClock& clock, uint64_t seed) : clock_(clock), seed_(seed) {}

  void add(const std::string& what) {
    std::lock_guard lock(lock_);
    if (++count_ > kMostSaid) return;
    std::fprintf(stderr, "FOUND in minute %.2f, seed %llu: %s\n", clock_.now_ms() / 60'000,
                 static_cast<unsigned long long>(seed_), what.c_str());
    if (count_ == kMostSaid) std::fprintf(stderr, "what is found from now on is counted alone\n");
  }
  // `what` is found unless it is empty.
  void addUnlessEmpty(const std::string& where, const std::string& what) {
    if (!what.empty()) add(where + ": " + what);
  }
  uint64_t count() const { return count_; }

private:
  const SoakClock& clock_;
  const uint64_t seed_;
  std::mutex lock_;  // one text after the other
  std::atomic<uint64_t> count_{0};
};
