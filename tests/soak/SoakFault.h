#pragma once

#include <cstddef>
#include <cstdint>

#include "tests/fault/Fault.h"
#include "tests/sim/SimDice.h"

// SoakFault: what goes wrong now and then.
enum class SoakFault : size_t {
  // A player's.
  eReadFails,
  eReadRefused,    // at its start
  eReadCut,        // some bytes come, then an error
  eReadEndsEarly,  // as at the end of the file
  eReadSlow,
  eBlockRefused,  // no memory for a block, a few times: nobody is told
  eNoBlock,       // no memory for a block, until somebody is told
  eOpenRefused,
  // A recorder's.
  eWriteFails,
  eNoSpace,
  eWriteRefused,
  eWriteCut,
  eWriteSlow,
  eCreateRefused,
  eTailFails,      // what the write cache holds cannot be written
  eDeletionFails,  // the media stays on the disk
  // The scanner's.
  eListingFails,
  eKinds
};

constexpr size_t kSoakFaults = static_cast<size_t>(SoakFault::eKinds);

const char* soakFaultName(SoakFault kind);
// What is to be armed for it; `bytes`: of a transfer. What is left open is thrown.
Fault makeFault(SoakFault kind, uint32_t bytes, SimDice& dice);
// How many of the calls that are meant it strikes before it is over; 0: all until it is disarmed.
unsigned soakFaultStrikes(SoakFault kind);
