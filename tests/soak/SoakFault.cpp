#include "tests/soak/SoakFault.h"

#include <iterator>

#include "platform/OsErrors.h"

namespace {

constexpr uint32_t kSector = 4096;
constexpr uint32_t kErrors = 16;  // more than any call has; they begin again behind the last
// Below the forty tries after which a request is told that there is no memory.
constexpr unsigned kRefusals = 20;
constexpr uint32_t kShortest_ms = 300, kLongest_ms = 3500;

const char* const kNames[] = {"a read fails",        "a read is refused",
                              "a read is cut short", "a file ends early",
                              "a read is slow",      "a block is refused",
                              "no block for a read", "a file is not opened",
                              "a write fails",       "no space",
                              "a write is refused",  "a write is cut short",
                              "a write is slow",     "a file is not created",
                              "held bytes fail",     "a deletion fails",
                              "a folder not listed"};
static_assert(std::size(kNames) == kSoakFaults);

uint32_t someSectors(uint32_t bytes, SimDice& dice) {
  return kSector * dice.between(1, bytes / kSector - 1);
}

}  // namespace

const char* soakFaultName(SoakFault kind) { return kNames[static_cast<size_t>(kind)]; }

unsigned soakFaultStrikes(SoakFault kind) {
  if (kind == SoakFault::eBlockRefused) return kRefusals;
  return kind == SoakFault::eNoBlock ? 0 : 1;
}

Fault makeFault(SoakFault kind, uint32_t bytes, SimDice& dice) {
  const unsigned pick = dice.below(kErrors);
  const uint32_t cut = someSectors(bytes, dice);
  const uint32_t hold_ms = dice.between(kShortest_ms, kLongest_ms);
  switch (kind) {
    case SoakFault::eReadFails:
      return {.call = FaultCall::eFinishRead, .error = eOsIoError};
    case SoakFault::eReadRefused:
      return {.call = FaultCall::eStartRead, .pick = pick};
    case SoakFault::eReadCut:
      return {.call = FaultCall::eFinishRead, .error = eOsIoError, .cutShort = cut};
    case SoakFault::eReadEndsEarly:
      return {.call = FaultCall::eFinishRead, .cutShort = cut};
    case SoakFault::eReadSlow:
      return {.call = FaultCall::eFinishRead, .hold_ms = hold_ms};
    case SoakFault::eBlockRefused:
    case SoakFault::eNoBlock:
      return {.call = FaultCall::eAllocateRegion, .fromThenOn = true};
    case SoakFault::eOpenRefused:
    case SoakFault::eCreateRefused:
      return {.call = FaultCall::eOpenMedia, .pick = pick};
    case SoakFault::eWriteFails:
      return {.call = FaultCall::eFinishWrite, .pick = pick};
    case SoakFault::eNoSpace:
      return {.call = FaultCall::eFinishWrite, .error = eOsNoSpace};
    case SoakFault::eWriteRefused:
      return {.call = FaultCall::eStartWrite, .pick = pick};
    case SoakFault::eWriteCut:
      return {.call = FaultCall::eFinishWrite, .error = eOsNoSpace, .cutShort = cut};
    case SoakFault::eWriteSlow:
      return {.call = FaultCall::eFinishWrite, .hold_ms = hold_ms};
    case SoakFault::eTailFails:
      return {.call = FaultCall::eWrite, .pick = pick};
    case SoakFault::eDeletionFails:
      return {.call = FaultCall::eDeleteMedia, .pick = pick};
    case SoakFault::eListingFails:
      return {.call = FaultCall::eListFiles, .pick = pick};
    case SoakFault::eKinds:
      break;
  }
  return {};
}
