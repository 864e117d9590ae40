#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/table/EngineFile.h"

// IdleFiles: one file, open so many times. Each was read once and keeps that read, as files do that
// wait for their next use.
// Errors     throws std::runtime_error when the file cannot be opened, or not so often.
class IdleFiles {
public:
  IdleFiles(const std::string& path, unsigned count);

  // Whether this process may have so many open at once.
  static bool mayOpen(unsigned count);

  uint64_t wrong() const { return wrong_; }

private:
  std::vector<std::unique_ptr<EngineFile>> files_;
  uint64_t wrong_ = 0;
};
