#pragma once

#include <algorithm>
#include <numeric>
#include <vector>

#include "bench/table/Row.h"
#include "bench/table/Statistics.h"

// Figures: what is looked at of a round, and the medians of it.
namespace Figures {

using Figure = double (*)(const Round&);

inline double throughput(const Round& round) { return round.mbPerSecond(); }
inline double seconds(const Round& round) { return round.seconds; }
inline double cpu(const Round& round) { return round.cpuPerMb_us(); }
inline double p50(const Round& round) { return Statistics::quantile(round.latencies_us, 0.5); }
inline double p99(const Round& round) { return Statistics::quantile(round.latencies_us, 0.99); }

// A round of cache hits has one latency: the mean.
inline double millionHits(const Round& round) {
  double mean_us = p50(round);
  return mean_us > 0 ? 1 / mean_us : 0;
}

// The slowest stream's share of the mean.
inline double worstStream(const Round& round) {
  const std::vector<double>& streams = round.streams_mbps;
  if (streams.empty()) return 0;
  double sum = std::accumulate(streams.begin(), streams.end(), 0.0);
  return *std::min_element(streams.begin(), streams.end()) * static_cast<double>(streams.size()) /
         sum;
}

// Of a side's rounds.
inline double median(const Side& side, Figure figure) {
  std::vector<double> values;
  for (const Round& round : side.rounds) values.push_back(figure(round));
  return Statistics::median(values);
}

// Of the pairs of neighbouring rounds: what disturbs a shared machine disturbs neighbours alike.
// The rounds of who played more come in equal groups, the first of each beside the other's round.
template <typename Compare>
std::vector<double> ofPairs(const Side& ours, const Side& theirs, Figure figure,
                            const Compare& compare) {
  std::vector<double> values;
  const size_t pairs = std::min(ours.rounds.size(), theirs.rounds.size());
  for (size_t i = 0; i < pairs; ++i)
    values.push_back(compare(figure(ours.rounds[i * ours.rounds.size() / pairs]),
                             figure(theirs.rounds[i * theirs.rounds.size() / pairs])));
  return values;
}

inline std::vector<double> ratios(const Side& ours, const Side& theirs, Figure figure) {
  return ofPairs(ours, theirs, figure, [](double a, double b) { return b > 0 ? a / b : 0; });
}

inline double medianRatio(const Side& ours, const Side& theirs, Figure figure) {
  return Statistics::median(ratios(ours, theirs, figure));
}

inline double medianDifference(const Side& ours, const Side& theirs, Figure figure) {
  return Statistics::median(
      ofPairs(ours, theirs, figure, [](double a, double b) { return a - b; }));
}

}  // namespace Figures
