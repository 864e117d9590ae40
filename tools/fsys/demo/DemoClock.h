#pragma once

#include <cstdint>

// DemoClock: when each picture's turn is.
struct DemoClock {
  static constexpr double kPicture_ms = 40;  // 25 pictures a second
  double begin_ms = 0;
  double turnOf_ms(uint64_t picture) const {
    return begin_ms + kPicture_ms * static_cast<double>(picture);
  }
};

// Processor time of the calling thread.
double threadCpu_ms();
