#include "tools/fsys/EngineFile.h"

#include "platform/OS.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr unsigned kNoError = 1;

const char* opening(EngineFile::Access access) {
  return access == EngineFile::eRead ? "opening" : "opening for writing";
}

}  // namespace

EngineFile::EngineFile(const std::string& name, Access access, uint32_t coalesce)
    : name_(name), access_(access) {
  if (name.empty()) throw ToolError(ExitCode::eUsage, opening(access), name, "the name is empty");
  OsAtomics::store(FsysError, kNoError);
  if (FsysOpen(&file_, enginePath(name), coalesce, access, nullptr) == 1) return;
  uint32_t error = FsysGetLastError();
  throw engineError(opening(access), name, error == kNoError ? uint32_t{eOsIoError} : error);
}

EngineFile::~EngineFile() {
  if (file_) FsysClose(file_, nullptr);
}

uint64_t EngineFile::size() const {
  FILE_INFO info;
  uint32_t result = file_->LowLevelGetInfo(&info);
  if (result != 1) throw transferError("asking for the size of", name_, result);
  return info.writePosition;
}

void EngineFile::close() {
  OsAtomics::store(FsysError, kNoError);
  FsysFile* file = file_;
  file_ = nullptr;
  uint32_t result = FsysClose(file, nullptr);
  uint32_t error = FsysGetLastError();
  // Bytes that were held are sent now; only the last error tells when that failed.
  if (access_ == eWrite && result == 1 && error >= eOsErrorBase) result = error;
  if (result != 1) throw transferError("closing", name_, result);
}
