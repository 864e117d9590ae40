#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "tests/fault/tool/ToolStage.h"

// DemoDamage: one thing that goes wrong in the middle of the demo's day, and what is then said.
struct DemoDamage {
  // The messages at which it happens; before the day, when none is needed.
  enum eWhen { eBefore, eLocations, eAdded, eProxyAdded, eRemoved };

  const char* name;
  eWhen when;
  unsigned nth;  // of those messages, from 1 on
  void (*happens)(const ToolStage& stage);
  const char* step;  // that finds it
  std::vector<std::string> says;
  int code = 7;  // verification

  static std::vector<DemoDamage> all();
};

// For the names of tests.
inline void PrintTo(const DemoDamage& damage, std::ostream* out) { *out << damage.name; }
