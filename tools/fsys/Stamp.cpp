#include "tools/fsys/Stamp.h"

#include <algorithm>
#include <cstring>

#include "tools/fsys/Text.h"

namespace {

constexpr uint64_t kMark = 0x21706D6174537346;  // the first word of every sector
constexpr uint64_t kGolden = 0x9E3779B97F4A7C15;
constexpr size_t kWords = Stamp::kSectorBytes / sizeof(uint64_t);
constexpr uint64_t kHeaderBytes = 3 * sizeof(uint64_t);

// A permutation of the 64-bit numbers that leaves no pattern.
uint64_t mixed(uint64_t value) {
  value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9;
  value = (value ^ (value >> 27)) * 0x94D049BB133111EB;
  return value ^ (value >> 31);
}

void makeSector(uint64_t offset, uint64_t seed, unsigned char* bytes) {
  uint64_t words[kWords] = {kMark, offset, seed};
  uint64_t state = mixed(seed + kGolden) ^ offset;
  for (size_t i = 3; i < kWords; ++i) words[i] = mixed(state += kGolden);
  std::memcpy(bytes, words, sizeof words);
}

// Calls visit(position, sector, begin, length) for the part of each sector that lies in the range;
// ends early when it answers false.
template <typename Visit>
void eachSector(uint64_t offset, uint64_t count, uint64_t seed, Visit visit) {
  alignas(uint64_t) unsigned char sector[Stamp::kSectorBytes];
  for (uint64_t done = 0; done < count;) {
    uint64_t begin = (offset + done) % Stamp::kSectorBytes;
    uint64_t length = std::min(Stamp::kSectorBytes - begin, count - done);
    makeSector(offset + done - begin, seed, sector);
    if (!visit(done, sector + begin, length)) return;
    done += length;
  }
}

}  // namespace

void Stamp::fill(unsigned char* bytes, uint64_t offset, uint64_t count, uint64_t seed) {
  eachSector(offset, count, seed,
             [bytes](uint64_t done, const unsigned char* part, uint64_t length) {
               std::memcpy(bytes + done, part, length);
               return true;
             });
}

uint64_t Stamp::check(const unsigned char* bytes, uint64_t offset, uint64_t count, uint64_t seed) {
  uint64_t bad = count;
  eachSector(offset, count, seed,
             [bytes, &bad](uint64_t done, const unsigned char* part, uint64_t length) {
               if (std::memcmp(bytes + done, part, length) == 0) return true;
               bad = done;
               while (bytes[bad] == part[bad - done]) ++bad;
               return false;
             });
  return bad;
}

std::string Stamp::describe(const unsigned char* sector, uint64_t count) {
  uint64_t header[3] = {};
  if (count >= kHeaderBytes) std::memcpy(header, sector, sizeof header);
  if (header[0] == kMark)
    return text("the sector there is stamped for offset %llu and seed %llu",
                static_cast<unsigned long long>(header[1]),
                static_cast<unsigned long long>(header[2]));
  if (std::all_of(sector, sector + count, [](unsigned char byte) { return byte == 0; }))
    return "there are zeros there";
  return "the sector there has no stamp";
}
