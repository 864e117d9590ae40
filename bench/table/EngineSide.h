#pragma once

#include <cstdint>
#include <vector>

#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// The engine's side of the table, through its public functions. The engine is running.
// Errors     throws std::runtime_error when a file cannot be opened; a transfer that goes wrong is
//            counted in the round.
namespace EngineSide {

// What the cache hits of a round did.
struct Hits {
  Round round;          // latencies_us holds one value: the mean
  uint64_t served = 0;  // answered before the call returned, from the kept read
  uint64_t copied = 0;  // whose bytes do not lie in the kept buffer
};

Round read(const Workload& work);
// The same while so many other files are open, each of which was read once and keeps that.
Round readAmongIdle(const Workload& work, unsigned idleFiles);
// Blocks that wait for one another and are merged, as the workload says.
Round readMerged(const Workload& work);
// Each callback writes the next block.
Round write(const Workload& work);
// The asking thread writes the next block when the one that used its buffer has come.
Round writeFromOneThread(const Workload& work);
// One byte, then the pieces behind it. `around` is called before the first and after the last.
Round writeStaged(const Workload& work, void (*around)());
Round roundTrips(const Workload& work, const std::vector<uint64_t>& offsets);
// The same, each in a file that is opened for it and closed straight after.
Round openings(const Workload& work, const std::vector<uint64_t>& offsets);
// `count` overlapping reads of `piece` bytes from the first block, which was read before. `around`
// is called before the first and after the last.
Hits hits(const Workload& work, uint32_t piece, uint64_t count, void (*around)());

}  // namespace EngineSide
