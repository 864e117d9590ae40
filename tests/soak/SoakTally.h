#pragma once

#include <array>
#include <atomic>
#include <cstdint>

#include "tests/soak/SoakFault.h"
#include "tests/soak/Turn.h"

// SoakTally: what was done so far, by everybody.
// Threads    any; figures that belong together may be a step apart.
struct SoakTally {
  using Count = std::atomic<uint64_t>;

  Count pictures{0}, pictureBytes{0};  // shown, every byte compared
  Count askedAgain{0};                 // after a failure
  Count refused{0};                    // by a list that was full
  Count opens{0}, cuts{0};             // of files; closes with pictures on their way
  Count chunks{0}, shots{0}, recordedBytes{0}, comparedBytes{0};
  Count repaired{0};  // chunks that were written anew after a failure
  Count deleted{0};   // shots, by the catalogue
  Count scans{0}, scannedFiles{0};
  Count locations{0}, beginnings{0};
  Count listeners{0}, heard{0};
  Count failuresTold{0};  // to those whom a fault had hit
  Count logged{0};        // lines of the library's
  Count refusedOpens{0};  // that the library says
  std::array<Count, kSoakFaults> struck{};
  uint64_t of(SoakFault kind) const { return struck[static_cast<size_t>(kind)]; }
  Count missed{0};  // faults that nothing came by to be hit by

  // Of pictures and of chunks, by how they stood.
  std::array<Count, 4> turns{};
  Count& turn(eTurn verdict) { return turns[static_cast<size_t>(verdict)]; }
  uint64_t turn(eTurn verdict) const { return turns[static_cast<size_t>(verdict)]; }
};
