#pragma once

#include <cstdint>

#include "platform/LightweightString.h"

// FaultPlace: where a call is made, as far as its kind has a place.
struct FaultPlace {
  const LightweightString<wchar_t>* path = nullptr;  // what is opened, listed, deleted, transferred
  uint64_t offset = 0;                               // of a transfer; 0 of one at the position
  uint32_t bytes = 0;                                // of a transfer, or of a region
};

// FaultAim: picks the calls that an armed fault is meant for. The others go well, uncounted.
// Threads    those of the callers, with whatever locks they hold, and with that of the points: it
//            uses nothing but what is its own, and does not wait.
// Ownership  whoever arms it keeps it until the fault is disarmed.
class FaultAim {
public:
  virtual bool isMeant(const FaultPlace& place) = 0;
  // That call is struck, before anybody is told.
  virtual void struck(const FaultPlace& place) = 0;

protected:
  ~FaultAim() = default;
};
