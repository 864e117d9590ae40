#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "bench/table/Workload.h"

// Caches: empties the page cache of the files that a round is to read, and can say what it did.
// Story      The system is advised that the pages of the files are not needed; where it says how
//            many of them stayed, and it did not let go of all, everything clean that it keeps is
//            dropped, which takes root's rights.
class Caches {
public:
  void drop(const std::vector<Workload::File>& files);

  // All that is clean: pages, names and what the disk's blocks hold of them, everybody's. False
  // where that is not allowed: it takes root's rights.
  static bool dropEverything();

  std::string whatWasDone() const;

private:
  uint64_t drops_ = 0;
  uint64_t everything_ = 0;  // how often everything was dropped
  uint64_t mostLeft_ = 0;    // pages
  bool isAsked_ = true;      // the system tells how many are left
};
