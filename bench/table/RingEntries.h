#pragma once

#include <cstdint>
#include <vector>

// RingEntries: what this process's rings were last used for. The kernel reads its entries from
// memory of the process, where they stand until they are used again.
namespace RingEntries {

// The addresses in all entries that asked for a write. Nothing may be in flight.
std::vector<uint64_t> writtenFrom();

}  // namespace RingEntries
