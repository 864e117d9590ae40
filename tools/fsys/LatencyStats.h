#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

// LatencyStats: how long transfers took. It counts into buckets that are 3 % wide, so its size does
// not depend on how many there were.
// Threads    one at a time.
// Units      milliseconds.
class LatencyStats {
public:
  void add(double ms);
  void add(const LatencyStats& other);
  uint64_t count() const { return count_; }
  // The time within which that share (0 to 1) of the transfers ended. 0 when there were none.
  double percentile(double share) const;
  double worst() const { return worst_ms_; }

private:
  static constexpr unsigned kSteps = 32;  // buckets a power of two
  static constexpr size_t kBuckets = size_t{kSteps} * 40;
  std::array<uint64_t, kBuckets> buckets_{};
  uint64_t count_ = 0;
  double worst_ms_ = 0;
};
