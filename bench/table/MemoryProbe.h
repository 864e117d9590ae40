#pragma once

#include <cstdint>

#include "bench/table/Workload.h"

// MemoryProbe: how much of a burst of reads stays resident once it was let go.
namespace MemoryProbe {

// Reads so many bytes of the file and holds them all, lets go, closes the file, and looks at the
// resident memory until it is back at the start and the limit, or it has waited long enough. Prints
// what it saw; the exit status. The engine is running, and nothing was read.
int run(const Workload::File& file, uint64_t bytes);

}  // namespace MemoryProbe
