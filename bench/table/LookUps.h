#pragma once

#include <array>
#include <string>

// LookUps: looks for each of ManyDrives::kMany drives by each of its keys.
namespace LookUps {

// What is looked for, and the beginning of the words by which it is told.
inline constexpr std::array<const char*, 5> kKeys = {"code", "name", "path", "location", "index"};

// Each prints its line; the exit status. The folders lie in `folder`.
// KEY_us: the median of all look-ups. KEY_slowest_us: that of the drive that is found the slowest.
int printTimes(const std::string& folder);
// KEY_a: what a look-up asks the heap for.
int printAllocations(const std::string& folder);

}  // namespace LookUps
