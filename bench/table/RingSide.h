#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/table/Meter.h"
#include "bench/table/Workload.h"

// The machine's side of the table: a ring, direct transfers, buffers that were touched before and
// are used again, one thread. Nothing is kept of what was read.
// Errors     throws std::runtime_error when a ring or a file cannot be had; a transfer that goes
//            wrong is counted in the round.
namespace RingSide {

Round read(const Workload& work);
// The same into blocks that lie so many bytes apart. All of them fit into 8 MiB.
Round readApart(const Workload& work, uint32_t apart);
enum eSpace { eAsItComes, eReserved, eGrown };
// One new file, written, closed and made durable. Reserved: its space was asked for ahead, the size
// kept, and what was not written is trimmed. Grown: the same, and the size was set ahead too.
Round write(const Workload& work, eSpace space);
// One byte, then pieces of `work.block` behind it, gathered in a buffer of `gathered` bytes that is
// written when it is full; then closed and made durable.
Round writeGathered(const Workload& work, uint32_t gathered);
// One block after the other at the given offsets, each waited for.
Round roundTrips(const Workload& work, const std::vector<uint64_t>& offsets);

// Whether the folder's files can be transferred past the page cache.
bool isDirect(const std::string& path);

}  // namespace RingSide
