#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>

#include "fsys/Fsys.h"

// EngineFile: a file of the engine's that is closed with its scope.
class EngineFile {
public:
  // `flags`: 1 read, 2 write. Blocks of `block` bytes are not merged with one another.
  EngineFile(const std::string& path, uint32_t block, uint32_t flags) {
    if (FsysOpen(&file_, fromUTF8(path), block, flags, nullptr) != 1)
      throw std::runtime_error("the engine cannot open " + path + ": error " +
                               std::to_string(FsysGetLastError()));
  }
  ~EngineFile() { close(); }
  EngineFile(const EngineFile&) = delete;
  EngineFile& operator=(const EngineFile&) = delete;

  FsysFile* operator->() const { return file_; }
  FsysFile* get() const { return file_; }
  bool close() {
    FsysFile* file = file_;
    file_ = nullptr;
    return !file || FsysClose(file, nullptr) == 1;
  }

private:
  FsysFile* file_ = nullptr;
};
