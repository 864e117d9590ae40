#pragma once

#include <algorithm>
#include <cmath>
#include <cstddef>
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

}  // namespace Statistics
