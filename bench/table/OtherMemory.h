#pragma once

#include <cstddef>
#include <vector>

// OtherMemory: has the memory service serve from other memory than before.
// Story      Where memory lies on the host of a virtual machine moves the throughput of transfers
//            into it by a tenth, and for good. All sides of a turn share their memory; turns that
//            all had the same would share its luck as well. What the service keeps between two
//            turns is idle, so it is taken and held, and as much that is new is touched and left
//            with the service instead; once little memory is left, it stays as it is. Blocks of
//            64 KiB, which the service cuts from memory of their own, are the engine's alone: what
//            is held of them is given back before the service has no more of it.
// Threads    one, while nothing else uses the service.
// Errors     throws std::bad_alloc.
class OtherMemory {
public:
  OtherMemory() = default;
  ~OtherMemory();
  OtherMemory(const OtherMemory&) = delete;
  OtherMemory& operator=(const OtherMemory&) = delete;

  void next();

private:
  std::vector<void*> held_;
  std::vector<void*> heldShort_;
};
