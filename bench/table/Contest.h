#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/table/Row.h"

// Contest: lets several sides do the same work in turn.
// Story      Each side does one round that is not counted, then all do the counted rounds in turn:
//            A B C, B C A, C A B, ...
// Threads    one.
class Contest {
public:
  explicit Contest(unsigned rounds) : rounds_(rounds) {}

  // `before`: what is done before each round, outside its time.
  Contest& before(std::function<void()> work);
  Contest& enter(const std::string& name, std::function<Round()> work);

  // Throws std::runtime_error once an interrupt has come.
  std::vector<Side> hold();
  // Transfers that went wrong, the uncounted rounds' too.
  uint64_t wrong() const { return wrong_; }

private:
  struct Entrant {
    std::string name;
    std::function<Round()> work;
  };

  Round play(const Entrant& entrant);

  const unsigned rounds_;
  std::function<void()> before_ = [] {};
  std::vector<Entrant> entrants_;
  uint64_t wrong_ = 0;
};
