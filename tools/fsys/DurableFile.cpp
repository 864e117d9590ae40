#include "tools/fsys/DurableFile.h"

#include "tools/fsys/ToolError.h"

namespace {

void flushOrThrow(const PlainFile& file, const std::string& name) {
  if (file.sync()) return;
  throw ToolError(ExitCode::eIo, "flushing", name, "its file system cannot make it durable");
}

}  // namespace

DurableFile::DurableFile(const std::string& name, bool isNew)
    : name_(name), file_(PlainFile::openForReading(name)), nameIsDurable_(!isNew) {}

void DurableFile::flush() {
  flushOrThrow(file_, name_);
  if (nameIsDurable_) return;
  std::string folder = folderOf(name_);
  flushOrThrow(PlainFile::openForReading(folder), folder);
  nameIsDurable_ = true;
}
