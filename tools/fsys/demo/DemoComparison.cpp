#include "tools/fsys/demo/DemoComparison.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "tools/fsys/EngineFile.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Limits.h"
#include "tools/fsys/PlainFile.h"
#include "tools/fsys/ReadStream.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr const char* kDoing = "checking";
constexpr auto kBlock = static_cast<uint32_t>(Limits::kDefaultBlock);

unsigned long long wide(uint64_t number) { return number; }

void requireLength(const std::string& name, const std::string& source, uint64_t found) {
  uint64_t expected = factsOf(source).size;
  if (found == expected) return;
  throw ToolError(
      ExitCode::eVerification, kDoing, name,
      text("expected %llu bytes, found %llu; its source is ", wide(expected), wide(found)) +
          inQuotes(source));
}

// Reads the source where the bytes are that were found.
class Source {
public:
  Source(const std::string& name, const std::string& source)
      : name_(name), file_(PlainFile::openForReading(source)), expected_(kBlock) {}

  void compare(uint64_t offset, const unsigned char* found, uint32_t count) {
    if (file_.readAt(offset, expected_.data(), count) != count)
      throw ToolError(ExitCode::eVerification, kDoing, name_, "its source became shorter");
    DemoComparison::bytes(name_, offset, found, expected_.data(), count);
  }

private:
  const std::string& name_;
  PlainFile file_;
  std::vector<unsigned char> expected_;
};

}  // namespace

void DemoComparison::bytes(const std::string& name, uint64_t offset, const unsigned char* found,
                           const unsigned char* expected, size_t count) {
  if (std::memcmp(found, expected, count) == 0) return;
  size_t at = static_cast<size_t>(std::mismatch(found, found + count, expected).first - found);
  throw ToolError(ExitCode::eVerification, kDoing, name,
                  text("expected byte %u, found %u; the first byte that differs from its source is "
                       "at offset %llu",
                       unsigned{expected[at]}, unsigned{found[at]}, wide(offset + at)));
}

uint64_t DemoComparison::throughEngine(const std::string& name, const std::string& source) {
  EngineFile file(name, EngineFile::eRead, kBlock);
  uint64_t size = file.size();
  requireLength(name, source, size);
  Source expected(name, source);
  ReadStream reading(file, ReadStream::wholeFile(size, kBlock, 1), Limits::kDefaultReadsInFlight);
  Block block;
  while (reading.next(block))
    expected.compare(block.range.offset, block.bytes(), block.range.length);
  return size;
}

uint64_t DemoComparison::byPlainReads(const std::string& name, const std::string& source) {
  PlainFile file = PlainFile::openForReading(name);
  uint64_t size = factsOf(name).size;
  requireLength(name, source, size);
  Source expected(name, source);
  std::vector<unsigned char> found(kBlock);
  for (uint64_t offset = 0; offset < size;) {
    Interrupt::check();
    size_t count = file.readAt(offset, found.data(), found.size());
    if (count == 0) throw ToolError(ExitCode::eVerification, kDoing, name, "it became shorter");
    expected.compare(offset, found.data(), static_cast<uint32_t>(count));
    offset += count;
  }
  return size;
}
