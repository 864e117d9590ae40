#pragma once

#include <stdexcept>
#include <string>
#include <vector>

#include "bench/table/Meter.h"

// Bar: a figure of a row, and what is asked of it.
struct Bar {
  enum Verdict { eNoBar, eMet, eMissed, eSkipped };

  std::string what;
  std::string measured;
  std::string asked;  // empty: nothing is
  double value = 0;
  Verdict verdict = eNoBar;
  std::string note;  // of a skipped one: why
};

// Side: one of those that did a row's work.
struct Side {
  std::string name;
  std::vector<Round> rounds;
};

// Row: one work, those who did it, the engine first, and what is asked of the engine.
struct Row {
  enum eKind {
    eThroughput,  // MB/s and processor time
    eLatency,     // of single transfers
    eHits,        // how many a second
    eFiles,       // the time of each
    eCounted,     // nothing but bars
  };

  std::string name;
  eKind kind = eCounted;
  std::vector<Side> sides;
  std::vector<Bar> bars;

  const Side& engine() const { return sides.front(); }
  const Side& side(const std::string& wanted) const {
    for (const Side& each : sides)
      if (each.name == wanted) return each;
    throw std::logic_error("no side " + wanted + " in " + name);
  }
};
