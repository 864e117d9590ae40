#pragma once

#include <cstdint>
#include <vector>

#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// The page cache's side of the table: what a program does that leaves everything to the system.
// Buffers are of 2 MiB pages that were touched before and are used again, as the ring's are.
// Errors     throws std::runtime_error when a file cannot be opened; a transfer that goes wrong is
//            counted in the round.
namespace PageCacheSide {

enum eAdvice { eNoAdvice, eSequential };

// One thread, one read after the other; of several files one block each in turn.
Round readInLoop(const Workload& work, eAdvice advice);
// As many threads as blocks may be under way, each of which takes its file's next block.
Round readInPool(const Workload& work);
// libuv's reads, as many under way at once, on as many threads of its pool.
Round readByLibuv(const Workload& work);

// One block after the other at the given offsets, each in a file that is opened for it and closed.
Round openings(const Workload& work, const std::vector<uint64_t>& offsets);

// One new file, written block after block by one thread, made durable and closed.
Round write(const Workload& work);
// One byte, then pieces of `work.block` behind it, each by a call of its own; made durable, closed.
Round writeBehindAByte(const Workload& work);

// Before the first round: libuv makes its threads once.
void setLibuvThreads(unsigned count);

}  // namespace PageCacheSide
