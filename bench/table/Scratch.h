#pragma once

#include <cstdint>
#include <string>

#include "bench/table/Workload.h"

// Scratch: a folder of its own for the files of a run; it goes with the object.
// Errors     throws std::runtime_error: what could not be done, where, and why.
class Scratch {
public:
  explicit Scratch(const std::string& parent);
  ~Scratch();
  Scratch(const Scratch&) = delete;
  Scratch& operator=(const Scratch&) = delete;

  std::string path(const std::string& name) const { return folder_ + "/" + name; }
  // A stamped file that is on the disk and no longer in the page cache.
  Workload::File make(const std::string& name, uint64_t bytes, uint64_t number) const;
  void remove(const std::string& name) const;

  static uint64_t freeBytes(const std::string& folder);
  // 0 for a folder that cannot be asked, or in which nothing can be made.
  static uint64_t freeOrNone(const std::string& folder);
  // What kind of file system holds the folder, in a word.
  static std::string kindOf(const std::string& folder);

private:
  std::string folder_;
};
