#pragma once

#include <cstdint>

#include "fsys/WriteMemRef.h"
#include "fsys/iMemHolder.h"

// How many bytes may be transferred from a holder. A write cache's holder carries no length.
inline uint32_t holderCapacity(const iMemHolder& holder) {
  return dynamic_cast<const WriteMemRef*>(&holder) ? WriteMemRef::kBytes : holder.getSize();
}
