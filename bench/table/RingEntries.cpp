#include "bench/table/RingEntries.h"

#include <liburing.h>

#include <cstdio>
#include <fstream>
#include <string>

namespace {

// Adds the writes of one ring's entries, from `begin` to `end`.
void addWrites(uint64_t begin, uint64_t end, std::vector<uint64_t>& addresses) {
  const auto* first = reinterpret_cast<const io_uring_sqe*>(begin);
  const auto* last = first + (end - begin) / sizeof(io_uring_sqe);
  for (const io_uring_sqe* entry = first; entry != last; ++entry)
    if (entry->opcode == IORING_OP_WRITE || entry->opcode == IORING_OP_WRITE_FIXED ||
        entry->opcode == IORING_OP_WRITEV)
      addresses.push_back(entry->addr);
}

}  // namespace

std::vector<uint64_t> RingEntries::writtenFrom() {
  std::vector<uint64_t> addresses;
  std::ifstream maps("/proc/self/maps");
  for (std::string line; std::getline(maps, line);) {
    unsigned long long begin = 0, end = 0, offset = 0;
    if (line.find("[io_uring]") == std::string::npos) continue;
    if (std::sscanf(line.c_str(), "%llx-%llx %*s %llx", &begin, &end, &offset) != 3) continue;
    if (offset == IORING_OFF_SQES) addWrites(begin, end, addresses);
  }
  return addresses;
}
