#include "bench/table/Contest.h"

#include <algorithm>
#include <utility>

#include "bench/table/Interrupted.h"

Contest& Contest::before(std::function<void()> work) {
  before_ = std::move(work);
  return *this;
}

Contest& Contest::beforeTurn(std::function<void()> work) {
  beforeTurn_ = std::move(work);
  return *this;
}

Contest& Contest::enter(const std::string& name, std::function<Round()> work) {
  entrants_.push_back({name, std::move(work), false});
  return *this;
}

Contest& Contest::enterClose(const std::string& name, std::function<Round()> work) {
  entrants_.push_back({name, std::move(work), true});
  hasClose_ = true;
  return *this;
}

std::vector<Side> Contest::hold() {
  std::vector<Side> sides;
  for (const Entrant& entrant : entrants_) {
    play(entrant);
    sides.push_back({entrant.name, {}});
  }
  size_t closeTurns = 0;
  for (unsigned round = 0; round < rounds_; ++round) {
    beforeTurn_();
    playInTurn(sides, round, false);
    for (unsigned i = 1; hasClose_ && i < kClose; ++i) {
      beforeTurn_();
      playInTurn(sides, closeTurns++, true);
    }
  }
  return sides;
}

// Nobody always comes after the same one: what a side leaves behind shows in the next.
void Contest::playInTurn(std::vector<Side>& sides, size_t turn, bool onlyClose) {
  std::vector<size_t> players;
  for (size_t i = 0; i < entrants_.size(); ++i)
    if (!onlyClose || entrants_[i].isClose) players.push_back(i);
  std::rotate(players.begin(), players.begin() + static_cast<long>(turn % players.size()),
              players.end());
  if (turn / players.size() % 2 == 1) std::reverse(players.begin(), players.end());
  for (size_t next : players) sides[next].rounds.push_back(play(entrants_[next]));
}

Round Contest::play(const Entrant& entrant) {
  Interrupted::check();
  before_();
  Round round = entrant.work();
  wrong_ += round.wrong;
  return round;
}
