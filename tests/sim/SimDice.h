#pragma once

#include <cstdint>

// SimDice: the one source of chance of a simulation. The same seed throws the same.
class SimDice {
public:
  explicit SimDice(uint64_t seed) : state_(seed * 0x9E3779B97F4A7C15u + 1) {}

  uint64_t next() {
    uint64_t x = state_ += 0x9E3779B97F4A7C15u;
    x = (x ^ x >> 30) * 0xBF58476D1CE4E5B9u;
    x = (x ^ x >> 27) * 0x94D049BB133111EBu;
    return x ^ x >> 31;
  }
  // 0 to `limit` - 1.
  uint32_t below(uint32_t limit) { return static_cast<uint32_t>(next() % limit); }
  uint32_t between(uint32_t least, uint32_t most) { return least + below(most - least + 1); }
  bool chance(uint32_t percent) { return below(100) < percent; }
  template <typename T, uint32_t N>
  T oneOf(const T (&choices)[N]) {
    return choices[below(N)];
  }

private:
  uint64_t state_;
};
