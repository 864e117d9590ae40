#pragma once

#include <cstdint>
#include <string>

class FaultLayer;

// Leftovers: what the process holds: descriptors, threads, regions, and pieces of the heap.
// Story      Taken before a thing and asked for after it: whatever is more then was left behind.
//            The heap may also change by what the machine does meanwhile (the platform keeps the
//            list of mounts): a real loss of pieces is there each time the thing is done.
class Leftovers {
public:
  explicit Leftovers(FaultLayer& layer);
  // What there is more of now, the heap aside, in words; empty when nothing is. A thread that has
  // been joined may need a moment until the system forgets it: it is given that.
  std::string since() const;
  // Pieces of the heap that there are more of now; below zero: fewer.
  long piecesSince() const;

private:
  static unsigned descriptors();
  static unsigned threads();
  uint64_t regionBytes() const;

  FaultLayer& layer_;
  unsigned descriptors_;
  unsigned threads_;
  uint64_t regionBytes_;
  long pieces_;
};
