#include "tools/fsys/demo/DemoTrack.h"

#include <time.h>

#include <algorithm>
#include <cstring>
#include <utility>

#include "platform/Clocks.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/Text.h"
#include "tools/fsys/ToolError.h"

namespace {

constexpr unsigned kPicturesAhead = 6;
constexpr uint64_t kScrubbedPictures = 25;  // one second
constexpr uint32_t kCoalesce_bytes = 1 << 20;

}  // namespace

double threadCpu_ms() {
  timespec used{};
  clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
  return static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) * 1e-6;
}

void compareBytes(const std::string& name, uint64_t offset, const unsigned char* bytes,
                  const unsigned char* expected, size_t count) {
  if (std::memcmp(bytes, expected, count) == 0) return;
  uint64_t bad =
      offset + static_cast<uint64_t>(std::mismatch(bytes, bytes + count, expected).first - bytes);
  throw ToolError(ExitCode::eVerification, "checking", name,
                  text("the first byte that differs from its source is at offset %llu",
                       static_cast<unsigned long long>(bad)));
}

DemoTrack::DemoTrack(const std::string& file, const std::string& source, uint64_t pictures,
                     bool scrubbed)
    : name_(file),
      file_(file, EngineFile::eRead, kCoalesce_bytes),
      source_(PlainFile::openForReading(source)),
      size_(file_.size()),
      pictures_(std::min(pictures, size_)),
      scrubbed_(scrubbed && pictures_ > 2 * kScrubbedPictures) {}

ByteRange DemoTrack::pictureRange(uint64_t picture) const {
  uint64_t begin = size_ * picture / pictures_;
  return {begin, static_cast<uint32_t>(size_ * (picture + 1) / pictures_ - begin)};
}

// Which picture is shown at a turn. Scrubbing takes the first half: to and fro over one second.
uint64_t DemoTrack::pictureAt(uint64_t turn) const {
  if (!scrubbed_) return turn;
  if (turn >= pictures_ / 2) return turn - pictures_ / 2 + kScrubbedPictures;
  uint64_t round = turn % (2 * kScrubbedPictures);
  return round < kScrubbedPictures ? round : 2 * kScrubbedPictures - 1 - round;
}

void DemoTrack::check(const Block& block) {
  double begin_ms = threadCpu_ms();
  expected_.resize(std::max<size_t>(expected_.size(), block.range.length));
  size_t count = source_.readAt(block.range.offset, expected_.data(), block.range.length);
  if (count != block.range.length)
    throw ToolError(ExitCode::eVerification, "checking", name_, "its source is shorter");
  compareBytes(name_, block.range.offset, block.bytes(), expected_.data(), count);
  figures_.checkedBytes += count;
  figures_.checking_ms += threadCpu_ms() - begin_ms;
}

void DemoTrack::prepare() {
  if (scrubbed_) {
    ByteRange second{0, static_cast<uint32_t>(pictureRange(kScrubbedPictures).offset)};
    ReadStream reading(
        file_,
        [second, given = false](ByteRange& range) mutable {
          range = second;
          return !std::exchange(given, true);
        },
        1);
    Block block;
    while (reading.next(block)) check(block);
    figures_.bytes += reading.bytes();
  }
  stream_ = std::make_unique<ReadStream>(
      file_,
      [this, turn = uint64_t{0}](ByteRange& range) mutable {
        if (turn == pictures_) return false;
        range = pictureRange(pictureAt(turn++));
        return true;
      },
      kPicturesAhead);
  stream_->fill();
}

void DemoTrack::play(const DemoClock& clock) {
  Block block;
  for (uint64_t turn = 0; turn < pictures_; ++turn) {
    Interrupt::wait(-1, std::max(clock.turnOf_ms(turn) - Qv::now(), 0.0));
    if (!stream_->isReady()) ++figures_.late;
    if (!stream_->next(block)) break;
    ++figures_.pictures;
    check(block);
  }
}

void DemoTrack::run(const DemoClock& clock) noexcept {
  try {
    play(clock);
  } catch (...) {
    failure_ = std::current_exception();
  }
  figures_.bytes += stream_->bytes();
  figures_.latency = stream_->latency();
  figures_.cacheHits = file_->GetCacheHits();
  stream_.reset();
}

void DemoTrack::rethrow() const {
  if (failure_) std::rethrow_exception(failure_);
}
