#include "bench/table/CatalogueSides.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <barrier>
#include <cstring>
#include <filesystem>
#include <map>
#include <thread>

#include "bench/table/Descriptor.h"
#include "fsys/FsysDirectoryEntry.h"
#include "fsys/SystemCache.h"

namespace {

constexpr size_t kNames_bytes = 256 << 10;

// What the kernel writes of a folder's entry, up to its name.
struct Entry {
  uint64_t inode;
  int64_t next;
  uint16_t length;
  uint8_t kind;
};
constexpr size_t kName = offsetof(Entry, kind) + 1;

struct Found {
  uint64_t files = 0, bytes = 0;

  bool isAll(uint64_t wanted) const {
    return files == wanted && bytes == wanted * MediaTrees::kFileBytes;
  }
};

void finish(Round& round, const Meter& meter, double items) {
  meter.stop(round);
  round.latencies_us = {round.seconds * 1e6 / items};
}

// A part of a folder's entries.
void askEach(const Descriptor& folder, const char* entries, size_t bytes, Found& found) {
  for (size_t at = 0; at < bytes;) {
    Entry entry;
    std::memcpy(&entry, entries + at, sizeof entry);
    struct statx status;
    if (entry.kind == DT_REG &&
        statx(folder.get(), entries + at + kName, 0, STATX_TYPE | STATX_SIZE, &status) == 0) {
      ++found.files;
      found.bytes += status.stx_size;
    }
    at += entry.length;
  }
}

}  // namespace

Round CatalogueSides::scan(const MediaTrees& trees, MediaTrees::eTree tree) {
  const MaterialFilename folder = trees.folder(tree);
  SystemCache::invalidate();
  Round round;
  const Meter meter;
  SystemCache::addDirectory(folder);
  finish(round, meter, static_cast<double>(trees.files(tree)));
  Found found;
  SystemCache::enumerate([&](const Cookie&, const FsysDirectoryEntry& entry) {
    ++found.files;
    found.bytes += entry.fileSize();
    return true;
  });
  round.wrong = !found.isAll(trees.files(tree));
  return round;
}

Round CatalogueSides::ask(const MediaTrees& trees, MediaTrees::eTree tree) {
  const std::string path = trees.path(tree);
  std::vector<char> entries(kNames_bytes);
  Found found;
  Round round;
  const Meter meter;
  const Descriptor folder(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  for (;;) {
    const long bytes = syscall(SYS_getdents64, folder.get(), entries.data(), entries.size());
    if (bytes <= 0) break;
    askEach(folder, entries.data(), static_cast<size_t>(bytes), found);
  }
  finish(round, meter, static_cast<double>(trees.files(tree)));
  round.wrong = !found.isAll(trees.files(tree));
  return round;
}

Round CatalogueSides::map(const MediaTrees& trees, MediaTrees::eTree tree) {
  const std::string path = trees.path(tree);
  std::map<std::string, uint64_t> files;
  Round round;
  const Meter meter;
  for (const auto& entry : std::filesystem::directory_iterator(path))
    files[entry.path().filename().string()] = entry.file_size();
  finish(round, meter, static_cast<double>(trees.files(tree)));
  Found found;
  for (const auto& [name, bytes] : files) {
    ++found.files;
    found.bytes += bytes;
  }
  round.wrong = !found.isAll(trees.files(tree));
  return round;
}

// Each begins at a place of its own.
Round CatalogueSides::lookUp(const std::vector<Cookie>& cookies, unsigned threads) {
  std::atomic<uint64_t> missed{0};
  std::barrier start(threads + 1);
  std::vector<std::jthread> lookers;
  for (unsigned i = 0; i < threads; ++i)
    lookers.emplace_back([&, first = cookies.size() / threads * i] {
      start.arrive_and_wait();
      uint64_t none = 0;
      for (size_t k = first; k < cookies.size(); ++k)
        none += !SystemCache::findEntryForCookie(cookies[k]);
      for (size_t k = 0; k < first; ++k) none += !SystemCache::findEntryForCookie(cookies[k]);
      missed += none;
    });
  Round round;
  const Meter meter;
  start.arrive_and_wait();
  lookers.clear();
  finish(round, meter, static_cast<double>(cookies.size()) * threads);
  round.wrong = missed;
  return round;
}

Round CatalogueSides::enumerate(uint64_t entries) {
  uint64_t visited = 0;
  Round round;
  const Meter meter;
  SystemCache::enumerate([&](const Cookie&, const FsysDirectoryEntry&) {
    ++visited;
    return true;
  });
  finish(round, meter, static_cast<double>(entries));
  round.wrong = visited != entries;
  return round;
}
