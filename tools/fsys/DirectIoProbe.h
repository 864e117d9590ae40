#pragma once

#include <cstdint>
#include <string>

// DirectIoProbe: whether transfers past the page cache work for a path, found by doing one: reading
// a file's first bytes, or writing to a file without a name in a folder.
struct DirectIoProbe {
  bool tried = false;  // false: `why` says what stood in the way of trying
  bool works = false;
  std::string why;
  // What the system says a transfer must be aligned to; 0: it does not say.
  uint32_t memoryAlignment = 0;
  uint32_t offsetAlignment = 0;

  static DirectIoProbe of(const std::string& path, bool isFolder);
};
