#include "tools/fsys/LatencyStats.h"

#include <algorithm>
#include <cmath>

namespace {

constexpr double kShortest_ms = 1e-4;

}  // namespace

void LatencyStats::add(double ms) {
  double powers = std::log2(std::max(ms, kShortest_ms) / kShortest_ms);
  size_t bucket = std::min(static_cast<size_t>(powers * kSteps), kBuckets - 1);
  ++buckets_[bucket];
  ++count_;
  worst_ms_ = std::max(worst_ms_, ms);
}

void LatencyStats::add(const LatencyStats& other) {
  for (size_t i = 0; i < kBuckets; ++i) buckets_[i] += other.buckets_[i];
  count_ += other.count_;
  worst_ms_ = std::max(worst_ms_, other.worst_ms_);
}

double LatencyStats::percentile(double share) const {
  uint64_t wanted = static_cast<uint64_t>(std::ceil(share * static_cast<double>(count_)));
  uint64_t seen = 0;
  for (size_t i = 0; i < kBuckets; ++i) {
    seen += buckets_[i];
    if (seen < wanted || seen == 0) continue;
    double end_ms = kShortest_ms * std::exp2(static_cast<double>(i + 1) / kSteps);
    return std::min(end_ms, worst_ms_);
  }
  return 0;
}
