// Many lives of the engine, each as its seed says. FSYS_SIM_SEED=n lives that one alone and prints
// what happened in it.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <iostream>

#include "tests/sim/Simulation.h"
#include "tests/support/Soak.h"

namespace {

constexpr unsigned kBriefSeeds = 1'000;
constexpr unsigned kFullSeeds = 10'000;
constexpr uint64_t kCompared = 40;  // seeds that are lived twice

uint64_t onlySeed() {
  const char* asked = std::getenv("FSYS_SIM_SEED");
  return asked ? std::strtoull(asked, nullptr, 10) : 0;
}

void live(uint64_t seed, SimTally& tally) {
  Simulation simulation(seed, tally);
  simulation.run();
  if (onlySeed() != 0) std::cout << simulation.trace().text();
  if (simulation.failure().empty()) return;
  ADD_FAILURE() << "seed " << seed << ": " << simulation.failure() << "\n"
                << (onlySeed() != 0 ? "" : simulation.trace().text())
                << "again: FSYS_SIM_SEED=" << seed
                << " fsys_sim_tests --gtest_filter=*WhatEverHappens*";
}

uint64_t hashOf(uint64_t seed) {
  SimTally tally;
  Simulation simulation(seed, tally);
  simulation.run();
  return simulation.trace().hash();
}

class SimulationTest : public ::testing::Test {
protected:
  void SetUp() override {
#ifdef __SANITIZE_THREAD__
    GTEST_SKIP() << "one thread plays all of them, and has no race with itself";
#endif
  }
};

TEST_F(SimulationTest, WhatEverHappensEachRequestIsAnsweredOnceAndTrulyAndNothingIsLeft) {
  SimTally tally;
  if (uint64_t seed = onlySeed()) {
    live(seed, tally);
    return;
  }
  const unsigned seeds = soakTurns(kBriefSeeds, kFullSeeds);
  for (uint64_t seed = 1; seed <= seeds && !HasFailure(); ++seed) live(seed, tally);
  if (HasFailure()) return;
  for (size_t i = 0; i < SimTally::eEvents; ++i) {
    auto event = static_cast<SimTally::eEvent>(i);
    std::cout << SimTally::kNames[i] << ": " << tally[event] << "\n";
    EXPECT_GT(tally[event], 0u) << "it never happened: " << SimTally::kNames[i];
  }
}

TEST_F(SimulationTest, EqualSeedsWriteEqualTracesAndDifferentSeedsDifferentOnes) {
  std::vector<uint64_t> hashes;
  for (uint64_t seed = 1; seed <= kCompared; ++seed) hashes.push_back(hashOf(seed));
  for (uint64_t seed = 1; seed <= kCompared; ++seed)
    EXPECT_EQ(hashOf(seed), hashes[seed - 1]) << "seed " << seed;
  std::sort(hashes.begin(), hashes.end());
  EXPECT_EQ(std::unique(hashes.begin(), hashes.end()), hashes.end());
}

}  // namespace
