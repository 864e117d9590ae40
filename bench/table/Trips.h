#pragma once

#include <chrono>
#include <cstdint>
#include <vector>

#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// Goes to the given offsets one after the other, and times each trip: the call of `goTo`, which
// answers whether the right block came.
template <typename GoTo>
Round makeTrips(const Workload& work, const std::vector<uint64_t>& offsets, GoTo goTo) {
  Round round;
  round.latencies_us.reserve(offsets.size());
  Meter meter;
  for (uint64_t offset : offsets) {
    auto start = std::chrono::steady_clock::now();
    bool right = goTo(offset);
    std::chrono::duration<double, std::micro> passed = std::chrono::steady_clock::now() - start;
    round.latencies_us.push_back(passed.count());
    round.wrong += !right;
    round.bytes += work.block;
  }
  meter.stop(round);
  return round;
}
