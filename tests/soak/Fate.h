#pragma once

#include <algorithm>
#include <cstdint>
#include <limits>

#include "tests/fault/Fault.h"
#include "tests/fault/FaultAim.h"
#include "tests/soak/SoakFault.h"

// Fate: how a transfer must end.
struct Fate {
  enum eEnd { eWell, eFails, eAny };
  static constexpr uint32_t kAll = std::numeric_limits<uint32_t>::max();

  eEnd end = eWell;
  uint32_t rightBytes = kAll;  // of one that ends well; zeros follow

  // Of what a struck transfer carried, from `offset` on.
  static Fate ofStruck(SoakFault kind, const Fault& fault, const FaultPlace& place,
                       uint64_t offset) {
    if (kind == SoakFault::eReadSlow || kind == SoakFault::eWriteSlow) return {};
    if (kind != SoakFault::eReadEndsEarly) return {eFails, 0};
    const uint64_t end = place.offset + fault.cutShort.value_or(0);
    if (offset >= end) return {eFails, 0};
    return {eWell, static_cast<uint32_t>(std::min<uint64_t>(end - offset, kAll))};
  }
};
