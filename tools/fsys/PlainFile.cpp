#include "tools/fsys/PlainFile.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

#include "tools/fsys/Interrupt.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr int64_t kNsPerSecond = 1000000000;

}  // namespace

PlainFile::PlainFile(int descriptor, std::string name)
    : descriptor_(descriptor), name_(std::move(name)) {}

PlainFile::PlainFile(PlainFile&& other) noexcept
    : descriptor_(std::exchange(other.descriptor_, -1)), name_(std::move(other.name_)) {}

PlainFile::~PlainFile() {
  if (descriptor_ > STDERR_FILENO) ::close(descriptor_);
}

PlainFile PlainFile::standardInput() { return PlainFile(STDIN_FILENO, "standard input"); }

PlainFile PlainFile::standardOutput() { return PlainFile(STDOUT_FILENO, "standard output"); }

PlainFile PlainFile::openForReading(const std::string& name) {
  PlainFile file(-1, name);
  file.descriptor_ = ::open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
  if (file.descriptor_ < 0) throw systemError("opening", name, errno);
  return file;
}

PlainFile PlainFile::openForWriting(const std::string& path, const std::string& name) {
  PlainFile file(-1, name);
  file.descriptor_ = ::open(path.c_str(), O_WRONLY | O_CLOEXEC);
  if (file.descriptor_ < 0) throw systemError("writing", name, errno);
  return file;
}

size_t PlainFile::read(unsigned char* bytes, size_t count) {
  size_t done = 0;
  while (done < count) {
    Interrupt::wait(descriptor_, -1);
    ssize_t result = ::read(descriptor_, bytes + done, count - done);
    if (result == 0) break;
    if (result > 0) {
      done += static_cast<size_t>(result);
    } else if (errno != EINTR && errno != EAGAIN) {
      throw systemError("reading", name_, errno);
    }
  }
  return done;
}

size_t PlainFile::readAt(uint64_t offset, unsigned char* bytes, size_t count) const {
  size_t done = 0;
  while (done < count) {
    ssize_t result =
        ::pread(descriptor_, bytes + done, count - done, static_cast<off_t>(offset + done));
    if (result == 0) break;
    if (result > 0)
      done += static_cast<size_t>(result);
    else if (errno != EINTR)
      throw systemError("reading", name_, errno);
  }
  return done;
}

void PlainFile::write(const unsigned char* bytes, size_t count) {
  for (size_t done = 0; done < count;) {
    Interrupt::check();
    ssize_t result = ::write(descriptor_, bytes + done, count - done);
    if (result >= 0) {
      done += static_cast<size_t>(result);
    } else if (errno == EAGAIN) {
      pollfd polled = {descriptor_, POLLOUT, 0};
      ::poll(&polled, 1, -1);
    } else if (errno != EINTR) {
      throw systemError("writing to", name_, errno);
    }
  }
}

bool PlainFile::sync() const {
  if (::fsync(descriptor_) == 0) return true;
  if (errno != EINVAL && errno != ENOTSUP) throw systemError("flushing", name_, errno);
  return false;
}

FileFacts factsOf(const std::string& name) {
  struct stat found = {};
  FileFacts facts;
  if (::stat(name.c_str(), &found) != 0) {
    if (errno == ENOENT) return facts;
    throw systemError("looking at", name, errno);
  }
  facts.exists = true;
  facts.isFolder = S_ISDIR(found.st_mode);
  facts.isRegular = S_ISREG(found.st_mode);
  facts.device = found.st_dev;
  facts.inode = found.st_ino;
  facts.mode = found.st_mode & 0777;
  facts.size = static_cast<uint64_t>(found.st_size);
  facts.changed_ns = found.st_mtim.tv_sec * kNsPerSecond + found.st_mtim.tv_nsec;
  return facts;
}

void removeFile(const std::string& name) {
  if (::unlink(name.c_str()) != 0) throw systemError("removing", name, errno);
}

void removeFileIfThere(const std::string& name) {
  if (::unlink(name.c_str()) != 0 && errno != ENOENT) throw systemError("removing", name, errno);
}

void truncateFile(const std::string& name, uint64_t size) {
  if (::truncate(name.c_str(), static_cast<off_t>(size)) != 0)
    throw systemError("cutting", name, errno);
}

std::string folderOf(const std::string& name) {
  size_t slash = name.rfind('/');
  if (slash == std::string::npos) return ".";
  return slash == 0 ? "/" : name.substr(0, slash);
}

std::string lastPartOf(const std::string& name) {
  size_t end = name.find_last_not_of('/');
  if (end == std::string::npos) return "";
  size_t slash = name.rfind('/', end);
  size_t begin = slash == std::string::npos ? 0 : slash + 1;
  return name.substr(begin, end - begin + 1);
}
