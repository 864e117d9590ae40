#pragma once

#include <functional>
#include <string>
#include <vector>

#include "bench/table/Row.h"

// Contest: lets several sides do the same work in turn.
// Story      Each side does one round that is not counted, then all do the counted rounds in turn:
//            A B C, B C A, C A B, then the same backwards. What is to be told apart by a hundredth
//            takes more rounds than what differs by a half: close sides do kClose rounds for each
//            of the others', the first of them in the others' turn.
// Threads    one.
class Contest {
public:
  static constexpr unsigned kClose = 4;

  explicit Contest(unsigned rounds) : rounds_(rounds) {}

  // `before`: what is done before each round, outside its time.
  Contest& before(std::function<void()> work);
  // `beforeTurn`: what is done before each turn, outside all sides' time.
  Contest& beforeTurn(std::function<void()> work);
  Contest& enter(const std::string& name, std::function<Round()> work);
  Contest& enterClose(const std::string& name, std::function<Round()> work);

  // Throws std::runtime_error once an interrupt has come.
  std::vector<Side> hold();
  // Transfers that went wrong, the uncounted rounds' too.
  uint64_t wrong() const { return wrong_; }

private:
  struct Entrant {
    std::string name;
    std::function<Round()> work;
    bool isClose;
  };

  // `turn`: counts those of its kind, all sides' or the close ones'.
  void playInTurn(std::vector<Side>& sides, size_t turn, bool onlyClose);
  Round play(const Entrant& entrant);

  const unsigned rounds_;
  std::function<void()> before_ = [] {};
  std::function<void()> beforeTurn_ = [] {};
  std::vector<Entrant> entrants_;
  bool hasClose_ = false;
  uint64_t wrong_ = 0;
};
