#pragma once

#include <cstddef>
#include <vector>

#include "bench/table/Statistics.h"

// Flatness: whether a figure that was taken at an even pace has grown.
// Story      The first quarter of the samples is the time in which everything gets warm. The median
//            of the last quarter is compared with that of the second: single peaks and dips move
//            neither, and a leak that is small each time has half of the run to show.
// Units      the figure's own.
// Errors     too few samples say nothing: eUnknown.
struct Flatness {
  enum eVerdict { eFlat, eGrows, eUnknown };

  static constexpr size_t kLeastSamples = 60;

  // `slack`: by how much it may be more without having grown.
  Flatness(const std::vector<double>& samples, double slack)
      : warm(median(samples, 1)), last(median(samples, 3)) {
    if (samples.size() < kLeastSamples) return;
    verdict = last > warm + slack ? eGrows : eFlat;
  }

  double warm;  // medians of the second and the last quarter
  double last;
  eVerdict verdict = eUnknown;

private:
  static double median(const std::vector<double>& samples, size_t quarter) {
    const auto at = [&](size_t q) {
      return samples.begin() + static_cast<long>(samples.size() * q / 4);
    };
    return Statistics::median({at(quarter), at(quarter + 1)});
  }
};
