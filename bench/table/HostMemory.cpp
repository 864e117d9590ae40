#include "bench/table/HostMemory.h"

#include <sys/mman.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <new>
#include <string>

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
  if (touched == 0) return 0;
  void* all = mmap(nullptr, touched, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  if (all == MAP_FAILED) throw std::bad_alloc();
  // Refused advice leaves small pages: slower, and as good.
  (void)madvise(all, touched, MADV_HUGEPAGE);
  std::memset(all, 0, touched);
  munmap(all, touched);
  return touched;
}
