#pragma once

#include <cstdint>
#include <vector>

#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// The least that a read by another thread costs: the asking thread rings a bell, a thread with a
// ring submits the read and waits for it, and rings back. Nothing else is done.
// Errors     throws std::runtime_error when a ring or the file cannot be had; a transfer that goes
//            wrong is counted in the round.
namespace HandOver {

// One block after the other at the given offsets, through the page cache.
Round roundTrips(const Workload& work, const std::vector<uint64_t>& offsets);

}  // namespace HandOver
