#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <random>
#include <vector>

namespace Statistics {

// The value below which `share` (0 to 1) of the values lie. 0 for none.
inline double quantile(std::vector<double> values, double share) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  double place = std::ceil(share * static_cast<double>(values.size())) - 1;
  return values[static_cast<size_t>(std::max(place, 0.0))];
}

inline double median(std::vector<double> values) {
  if (values.empty()) return 0;
  std::sort(values.begin(), values.end());
  size_t middle = values.size() / 2;
  return values.size() % 2 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

// The standard error of the median, by resampling: how far the medians of as many values that are
// drawn from these again scatter. 0 for fewer than two.
inline double medianError(const std::vector<double>& values) {
  constexpr unsigned kSamples = 1000;
  if (values.size() < 2) return 0;
  std::mt19937 random(1);  // equal values have equal errors
  std::uniform_int_distribution<size_t> any(0, values.size() - 1);
  double sum = 0, squares = 0;
  std::vector<double> sample(values.size());
  for (unsigned i = 0; i < kSamples; ++i) {
    for (double& value : sample) value = values[any(random)];
    const double middle = median(sample);
    sum += middle;
    squares += middle * middle;
  }
  const double mean = sum / kSamples;
  return std::sqrt(std::max(squares / kSamples - mean * mean, 0.0));
}

}  // namespace Statistics
