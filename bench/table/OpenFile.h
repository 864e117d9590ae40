#pragma once

#include <fcntl.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

#include "bench/table/Descriptor.h"

// Opening for the sides that use the bare system. All throw std::runtime_error.
namespace OpenFile {

inline Descriptor cached(const std::string& path, int flags) {
  Descriptor file(open(path.c_str(), flags | O_CLOEXEC, 0600));
  if (!file.isOpen()) throw std::runtime_error("cannot open " + path + ": " + std::strerror(errno));
  return file;
}

// A folder in memory may refuse direct transfers: then this uses the page cache, as the engine
// does.
inline Descriptor direct(const std::string& path, int flags) {
  Descriptor file(open(path.c_str(), flags | O_DIRECT | O_CLOEXEC, 0600));
  return file.isOpen() || errno != EINVAL ? std::move(file) : cached(path, flags);
}

}  // namespace OpenFile
