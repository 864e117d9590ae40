#pragma once

#include <cstdint>

#include "fsys/MemBlock.h"
#include "fsys/MemRef.h"

// A holder of exactly so many bytes, from the platform's regions.
inline Qv::Ptr<iMemHolder> makeHolder(uint32_t bytes) {
  Qv::Ptr<iMemHolder> block(new MemBlock(bytes));
  return Qv::Ptr<iMemHolder>(new MemRef(block, 0, bytes));
}
