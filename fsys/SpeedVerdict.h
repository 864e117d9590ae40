#pragma once

#include <cstdint>

// The judgement whether a volume keeps up. Pure.
namespace SpeedVerdict {

// Transfers of at most this many bytes say nothing about a rate.
constexpr uint32_t kLargestUnjudged_bytes = 10000;

// Bytes per millisecond. No time at all is an endless rate.
inline double rate(uint32_t bytes, double start_ms, double end_ms) {
  return bytes / (end_ms - start_ms);
}

// `minRate` in bytes per ms, `maxQueue` in thousands of bytes.
inline bool isTooSlow(uint32_t bytes, double rate, int minRate, uint32_t outstanding_bytes,
                      int maxQueue) {
  if (bytes > kLargestUnjudged_bytes && minRate > rate) return true;
  return int64_t{outstanding_bytes / 1000} > maxQueue;
}

}  // namespace SpeedVerdict
