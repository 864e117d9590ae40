#pragma once

#include <cstdint>

// What the options of the commands may be. A command holds at most in flight times block bytes,
// and what the engine keeps of finished reads.
namespace Limits {

constexpr uint64_t kDefaultBlock = uint64_t{1} << 20;
constexpr uint64_t kMostBlock = uint64_t{256} << 20;
constexpr uint64_t kMostFile = uint64_t{1} << 62;
constexpr unsigned kDefaultReadsInFlight = 8;
constexpr unsigned kDefaultWritesInFlight = 4;
// Below the number of requests for which a file has room.
constexpr unsigned kMostInFlight = 32;

}  // namespace Limits
