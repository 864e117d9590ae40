#include "tools/fsys/PartFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>

#include "tools/fsys/PlainFile.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr unsigned kMostNames = 10000;  // tries to find a name that is free

ToolError existsAlready(const std::string& name) {
  return ToolError(ExitCode::eExists, "writing", name, "it exists already (--force replaces it)");
}

}  // namespace

PartFile::PartFile(const std::string& destination, mode_t mode, bool replace)
    : destination_(destination), replace_(replace) {
  if (destination.empty()) throw ToolError(ExitCode::eUsage, "writing", "", "the name is empty");
  FileFacts facts = factsOf(destination);
  if (facts.isFolder) throw ToolError(ExitCode::eNotAFile, "writing", destination, "is a folder");
  if (facts.exists && !replace) throw existsAlready(destination);
  if (facts.exists && !facts.isRegular)
    throw ToolError(ExitCode::eNotAFile, "replacing", destination, "not a regular file");
  std::string folder = folderOf(destination);
  if (folder.back() != '/') folder += '/';
  for (unsigned number = 0; !there_; ++number) {
    name_ = folder + text(".fsys-%ld-%u.part", static_cast<long>(::getpid()), number);
    int descriptor = ::open(name_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC,
                            (mode & 0777) | S_IRUSR | S_IWUSR);
    if (descriptor < 0 && (errno != EEXIST || number == kMostNames))
      throw systemError("writing", destination, errno);
    there_ = descriptor >= 0;
    if (there_) ::close(descriptor);
  }
}

PartFile::~PartFile() {
  if (there_) ::unlink(name_.c_str());
}

void PartFile::rename() {
  if (replace_) {
    if (::rename(name_.c_str(), destination_.c_str()) != 0)
      throw systemError("renaming to", destination_, errno);
    return;
  }
  if (::renameat2(AT_FDCWD, name_.c_str(), AT_FDCWD, destination_.c_str(), RENAME_NOREPLACE) == 0)
    return;
  if (errno == EEXIST) throw existsAlready(destination_);
  // A file system without that kind of rename: a second name instead, which never replaces either.
  if (::link(name_.c_str(), destination_.c_str()) != 0) {
    if (errno == EEXIST) throw existsAlready(destination_);
    throw systemError("renaming to", destination_, errno);
  }
  ::unlink(name_.c_str());
}

void PartFile::syncName() const {
  try {
    PlainFile::openForReading(folderOf(destination_)).sync();
  } catch (const ToolError& error) {
    throw ToolError(error.code(), "flushing the folder of", destination_,
                    error.why() + " (it is whole and has its name, which may not be durable yet)");
  }
}

void PartFile::commit() {
  // Where a file system cannot be flushed the rename is all that can be done.
  PlainFile::openForReading(name_).sync();
  rename();
  there_ = false;
  syncName();
}
