#include "platform/common/CaseFolding.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace {

// Which characters of a range fold: each one, or the first and every second one after it.
enum eStep : uint8_t { eEvery = 1, eSecond = 2 };

struct Range {
  wchar_t first;
  wchar_t last;  // the last one that folds
  eStep step;
  int16_t distance;  // to what it folds to
};

// In the order of the characters.
constexpr std::array<Range, 42> kRanges{{
    {0x41, 0x5A, eEvery, 32},                                  // A to Z
    {0xB5, 0xB5, eEvery, 775},                                 // the micro sign
    {0xC0, 0xD6, eEvery, 32},                                  // Latin-1
    {0xD8, 0xDE, eEvery, 32},     {0x100, 0x12E, eSecond, 1},  // Latin Extended-A
    {0x132, 0x136, eSecond, 1},   {0x139, 0x147, eSecond, 1},
    {0x14A, 0x176, eSecond, 1},   {0x178, 0x178, eEvery, -121},
    {0x179, 0x17D, eSecond, 1},   {0x17F, 0x17F, eEvery, -268},  // the long s
    {0x370, 0x372, eSecond, 1},                                  // Greek
    {0x376, 0x376, eSecond, 1},   {0x37F, 0x37F, eEvery, 116},
    {0x386, 0x386, eEvery, 38},   {0x388, 0x38A, eEvery, 37},
    {0x38C, 0x38C, eEvery, 64},   {0x38E, 0x38F, eEvery, 63},
    {0x391, 0x3A1, eEvery, 32},   {0x3A3, 0x3AB, eEvery, 32},
    {0x3C2, 0x3C2, eSecond, 1},  // the final sigma
    {0x3CF, 0x3CF, eEvery, 8},    {0x3D0, 0x3D0, eEvery, -30},
    {0x3D1, 0x3D1, eEvery, -25},  {0x3D5, 0x3D5, eEvery, -15},
    {0x3D6, 0x3D6, eEvery, -22},  {0x3D8, 0x3EE, eSecond, 1},  // Coptic
    {0x3F0, 0x3F0, eEvery, -54},                               // Greek again
    {0x3F1, 0x3F1, eEvery, -48},  {0x3F4, 0x3F4, eEvery, -60},
    {0x3F5, 0x3F5, eEvery, -64},  {0x3F7, 0x3F7, eSecond, 1},
    {0x3F9, 0x3F9, eEvery, -7},   {0x3FA, 0x3FA, eSecond, 1},
    {0x3FD, 0x3FF, eEvery, -130}, {0x400, 0x40F, eEvery, 80},  // Cyrillic
    {0x410, 0x42F, eEvery, 32},   {0x460, 0x480, eSecond, 1},
    {0x48A, 0x4BE, eSecond, 1},   {0x4C0, 0x4C0, eEvery, 15},
    {0x4C1, 0x4CD, eSecond, 1},   {0x4D0, 0x52E, eSecond, 1},
}};
static_assert(std::is_sorted(kRanges.begin(), kRanges.end(),
                             [](const Range& a, const Range& b) { return a.last < b.first; }));

}  // namespace

wchar_t foldCase(wchar_t character) {
  // Nearly all that paths are made of.
  if (character < kRanges[1].first) {
    const Range& letters = kRanges[0];
    bool isCapital = character >= letters.first && character <= letters.last;
    return isCapital ? character + letters.distance : character;
  }
  const Range* range = std::lower_bound(kRanges.begin(), kRanges.end(), character,
                                        [](const Range& r, wchar_t c) { return r.last < c; });
  bool folds = range != kRanges.end() && character >= range->first &&
               (character - range->first) % range->step == 0;
  return folds ? character + range->distance : character;
}
