#pragma once

#include <vector>

#include "tests/fault/FileFaultLayer.h"
#include "tests/sim/SimDice.h"
#include "tests/soak/SoakStage.h"
#include "tests/soak/SoakVictim.h"

// FaultMaker: something goes wrong now and then, for one of those who take part.
// Story      One fault at a time: it is armed for its victim, it strikes, whoever is to be told is
//            told, it is disarmed, and for a while all goes well. Every kind comes by before one
//            comes again; their order, their victims and what exactly goes wrong are thrown.
// Threads    run(): one.
class FaultMaker {
public:
  FaultMaker(const SoakStage& stage, FileFaultLayer& layer, std::vector<SoakVictim*> victims,
             uint64_t seed)
      : stage_(stage), layer_(layer), victims_(std::move(victims)), dice_(seed) {}

  void run();

private:
  SoakFault nextKind();
  SoakVictim* victimOf(SoakFault kind);
  void make(SoakFault kind, SoakVictim& victim);

  const SoakStage stage_;
  FileFaultLayer& layer_;
  const std::vector<SoakVictim*> victims_;
  SimDice dice_;
  std::vector<SoakFault> left_;  // of the kinds, before all come again
};
