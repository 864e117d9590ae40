#include "bench/table/Scratch.h"

#include <fcntl.h>
#include <linux/magic.h>
#include <sys/statfs.h>
#include <sys/statvfs.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <system_error>
#include <vector>

#include "bench/table/Descriptor.h"
#include "bench/table/Stamp.h"

namespace {

constexpr decltype(statfs::f_type) kXfsMagic = 0x58465342;  // no header of the system names it
constexpr size_t kChunk = size_t{4} << 20;

[[noreturn]] void failure(const std::string& what, const std::string& path) {
  throw std::runtime_error(what + " " + path + ": " + std::strerror(errno));
}

void writeAll(int file, const unsigned char* bytes, size_t count, const std::string& path) {
  while (count > 0) {
    ssize_t done = ::write(file, bytes, count);
    if (done < 0 && errno == EINTR) continue;
    if (done <= 0) failure("cannot write", path);
    bytes += done;
    count -= static_cast<size_t>(done);
  }
}

}  // namespace

Scratch::Scratch(const std::string& parent) {
  std::string pattern = parent + "/fsys-bench-XXXXXX";
  std::vector<char> name(pattern.begin(), pattern.end());
  name.push_back('\0');
  if (!mkdtemp(name.data())) failure("cannot make a folder in", parent);
  folder_ = name.data();
}

Scratch::~Scratch() {
  std::error_code ignored;
  std::filesystem::remove_all(folder_, ignored);
}

Workload::File Scratch::make(const std::string& name, uint64_t bytes, uint64_t number) const {
  std::string where = path(name);
  Descriptor file(open(where.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600));
  if (!file.isOpen()) failure("cannot make", where);
  std::vector<unsigned char> chunk(kChunk, 0x5A);
  for (uint64_t offset = 0; offset < bytes; offset += kChunk) {
    for (size_t i = 0; i < kChunk; i += Stamp::kSector)
      Stamp::put(chunk.data() + i, offset + i, number);
    writeAll(file.get(), chunk.data(), std::min<uint64_t>(kChunk, bytes - offset), where);
  }
  if (fsync(file.get()) != 0) failure("cannot write", where);
  (void)posix_fadvise(file.get(), 0, 0, POSIX_FADV_DONTNEED);
  return {where, number};
}

void Scratch::remove(const std::string& name) const { ::unlink(path(name).c_str()); }

uint64_t Scratch::freeOrNone(const std::string& folder) {
  struct statvfs space{};
  if (access(folder.c_str(), W_OK | X_OK) != 0 || statvfs(folder.c_str(), &space) != 0) return 0;
  return uint64_t{space.f_bavail} * space.f_frsize;
}

std::string Scratch::kindOf(const std::string& folder) {
  struct statfs kind{};
  if (statfs(folder.c_str(), &kind) != 0) return "unknown";
  switch (kind.f_type) {
    case EXT4_SUPER_MAGIC:
      return "ext4";
    case TMPFS_MAGIC:
      return "tmpfs";
    case kXfsMagic:
      return "xfs";
    case BTRFS_SUPER_MAGIC:
      return "btrfs";
    default:
      return std::to_string(kind.f_type);
  }
}

uint64_t Scratch::freeBytes(const std::string& folder) {
  struct statvfs space{};
  if (statvfs(folder.c_str(), &space) != 0) failure("cannot ask for the free space of", folder);
  return uint64_t{space.f_bavail} * space.f_frsize;
}
