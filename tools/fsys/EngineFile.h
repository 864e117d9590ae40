#pragma once

#include <cstdint>
#include <string>

#include "fsys/Fsys.h"

// EngineFile: one file that is open in the engine, by its name on the command line.
// Ownership  open from construction until close; the destructor closes what is still open.
// Errors     throws ToolErrors that name the file.
class EngineFile {
public:
  enum Access : uint32_t { eRead = 1, eWrite = 2 };

  // `coalesce`: up to how many bytes queued requests are merged.
  EngineFile(const std::string& name, Access access, uint32_t coalesce);
  ~EngineFile();
  EngineFile(const EngineFile&) = delete;
  EngineFile& operator=(const EngineFile&) = delete;

  FsysFile* operator->() const { return file_; }
  bool isOpen() const { return file_ != nullptr; }
  const std::string& name() const { return name_; }
  // As the system reports it now.
  uint64_t size() const;
  // Sends what is still held, waits for transfers in flight. Throws when bytes could not be sent.
  void close();

private:
  std::string name_;
  Access access_;
  FsysFile* file_ = nullptr;
};
