#include "bench/table/HostMemory.h"

#include <algorithm>
#include <fstream>
#include <string>

#include "bench/table/HugeBuffers.h"

uint64_t HostMemory::available() {
  std::ifstream lines("/proc/meminfo");
  std::string key;
  uint64_t kib = 0;
  for (std::string rest; lines >> key >> kib && std::getline(lines, rest);)
    if (key == "MemAvailable:") return kib << 10;
  return 0;
}

uint64_t HostMemory::touch(uint64_t bytes) {
  uint64_t touched = std::min(bytes, available() / 2);
  if (touched > 0) HugeBuffers all(touched);
  return touched;
}
