#pragma once

#include <deque>

#include "tests/sim/SimDice.h"
#include "tests/soak/NewsListener.h"
#include "tests/soak/NewsLog.h"
#include "tests/soak/SoakStage.h"

// Audience: listeners of the catalogue that come and go.
// Story      Several listen at any time, each to everything that is told of media. When one goes,
//            what it heard is compared with what was told while it was there.
// Threads    run(): one. A listener is told on any, with the catalogue's lock held.
class Audience {
public:
  Audience(const SoakStage& stage, uint64_t seed) : stage_(stage), dice_(seed) {}

  void run();

private:
  struct Stayed {
    Qv::Ptr<NewsListener> listener;
    NewsLog::Stay stay;
  };

  void come();
  void goOldest();

  const SoakStage stage_;
  SimDice dice_;
  std::deque<Stayed> here_;  // the oldest first
};
