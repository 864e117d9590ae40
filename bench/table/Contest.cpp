#include "bench/table/Contest.h"

#include <utility>

#include "bench/table/Interrupted.h"

Contest& Contest::before(std::function<void()> work) {
  before_ = std::move(work);
  return *this;
}

Contest& Contest::enter(const std::string& name, std::function<Round()> work) {
  entrants_.push_back({name, std::move(work)});
  return *this;
}

std::vector<Side> Contest::hold() {
  std::vector<Side> sides;
  for (const Entrant& entrant : entrants_) {
    play(entrant);
    sides.push_back({entrant.name, {}});
  }
  for (unsigned round = 0; round < rounds_; ++round)
    for (size_t i = 0; i < entrants_.size(); ++i) {
      // Nobody always comes after the same one: what a side leaves behind shows in the next.
      size_t turn = (round + i) % entrants_.size();
      sides[turn].rounds.push_back(play(entrants_[turn]));
    }
  return sides;
}

Round Contest::play(const Entrant& entrant) {
  Interrupted::check();
  before_();
  Round round = entrant.work();
  wrong_ += round.wrong;
  return round;
}
