#include "tests/fault/FaultLayer.h"

#include <new>

bool FaultLayer::seesAllocations() {
  FaultPause own;
  long before = heap_.live();
  void* memory = ::operator new(1);
  bool seen = heap_.live() != before;
  ::operator delete(memory);
  return seen;
}
