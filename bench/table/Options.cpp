#include "bench/table/Options.h"

#include <algorithm>
#include <stdexcept>

namespace {

constexpr uint64_t kMib = 1 << 20;
constexpr uint64_t kLeastRead_mib = 32;
constexpr uint64_t kReadStep_mib = 32;  // eight files of whole 4 MiB blocks

}  // namespace

void Options::fit(uint64_t freeBytes) {
  if (quick) {
    readMib = std::min(readMib, kLeastRead_mib);
    writeMib = std::min<uint64_t>(writeMib, 16);
    stagedMib = std::min<uint64_t>(stagedMib, 1);
    rounds = 1;
    trips = std::min(trips, 100u);
    hits = std::min<uint64_t>(hits, 1000);
    catalogueFiles = std::min<uint64_t>(catalogueFiles, 2000);
  }
  // The file, the eight files and what is written, in half of what is free.
  uint64_t usable_mib = freeBytes / kMib / 2;
  writeMib = std::min(writeMib, usable_mib / 4);
  stagedMib = std::min(stagedMib, usable_mib / 4);
  readMib = std::min(readMib, (usable_mib - writeMib) / 2) / kReadStep_mib * kReadStep_mib;
  if (readMib < kLeastRead_mib || writeMib == 0 || stagedMib == 0)
    throw std::runtime_error("too little free space in " + folder);
}
