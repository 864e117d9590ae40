#pragma once

#include <cstdint>

// ScanTally: what the scans of folders have come across, since the catalogue was emptied last.
// Story      The catalogue counts under its lock; SystemCache::getScanTally gives a copy of one
//            moment.
// Threads    a value.
// Units      milliseconds.
struct ScanTally {
  uint64_t folders = 0;
  uint64_t seen = 0;       // files that were listed: each counts once more below
  uint64_t added = 0;      // the first of their entries
  uint64_t augmented = 0;  // that came to an entry which was there
  // Passed over.
  uint64_t empty = 0;
  uint64_t ineligible = 0;
  uint64_t notCookies = 0;
  double time_ms = 0;  // listing and cataloguing, the wait for the lock included
};
