#pragma once

#include <cstdint>

// HostMemory: on a virtual machine the first touch of memory is the host's to serve, and slow.
namespace HostMemory {

// Touches so much memory once and gives it back, but no more than half of what is free: how much.
uint64_t touch(uint64_t bytes);

// What the system could give to programs now. 0: unknown.
uint64_t available();

}  // namespace HostMemory
