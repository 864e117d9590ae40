// The engine on the fake, driven by the input as a list of operations.

#include "fuzz/EngineDriver.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  EngineDriver(InputBytes(data, size)).run();
  return 0;
}
