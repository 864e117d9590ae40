#pragma once

#include <cstdint>
#include <optional>

#include "tests/fault/FaultCall.h"

class FaultAim;

// Fault: what is to go wrong.
struct Fault {
  // None: the call is one of any kind but the heap's.
  std::optional<FaultCall> call = std::nullopt;
  unsigned nth = 1;         // which call, from the moment of arming
  bool fromThenOn = false;  // that one alone, or with all that follow
  // 0: the error is the `pick`-th of those that Linux gives there, beginning again behind the last.
  uint32_t error = 0;
  unsigned pick = 0;
  // The transfer moves at most that many bytes first: a read then ends as at the end of the file
  // (with `error` 0) or fails; a write fails.
  std::optional<uint32_t> cutShort = std::nullopt;
  // Of an asynchronous transfer: its end is told so much later, on a thread of its own. It goes
  // well unless it has an error or is cut short, too.
  uint32_t hold_ms = 0;
  // Only the calls that it means are counted and struck. Null: all of the kind.
  FaultAim* aim = nullptr;
};
