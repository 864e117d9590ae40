#include "tools/fsys/demo/DemoTrack.h"

#include <algorithm>
#include <utility>

#include "tools/fsys/ToolError.h"
#include "tools/fsys/demo/DemoClock.h"
#include "tools/fsys/demo/DemoComparison.h"

namespace {

constexpr unsigned kPicturesAhead = 6;
constexpr uint64_t kScrubbedPictures = 25;  // one second
constexpr uint32_t kCoalesce_bytes = 1 << 20;

}  // namespace

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
  DemoComparison::bytes(name_, block.range.offset, block.bytes(), expected_.data(), count);
  figures_.checkedBytes += count;
  figures_.checking_ms += threadCpu_ms() - begin_ms;
}

void DemoTrack::readFirstSecond() {
  ByteRange second{0, static_cast<uint32_t>(pictureRange(kScrubbedPictures).offset)};
  auto once = [second, given = false](ByteRange& range) mutable {
    range = second;
    return !std::exchange(given, true);
  };
  ReadStream reading(file_, once, 1);
  Block block;
  while (reading.next(block)) check(block);
  figures_.bytes += reading.bytes();
}

void DemoTrack::prepare() {
  if (scrubbed_) readFirstSecond();
  auto nextPicture = [this, turn = uint64_t{0}](ByteRange& range) mutable {
    if (turn == pictures_) return false;
    range = pictureRange(pictureAt(turn++));
    return true;
  };
  stream_ = std::make_unique<ReadStream>(file_, nextPicture, kPicturesAhead);
  stream_->fill();
}

// A file of fewer bytes than pictures ends before the others.
bool DemoTrack::take(uint64_t turn, double) {
  if (turn >= pictures_) return true;
  bool isInTime = stream_->isReady();
  Block block;
  if (stream_->next(block)) check(block);
  return isInTime;
}

void DemoTrack::finish() {
  figures_.bytes += stream_->bytes();
  figures_.latency = stream_->latency();
  figures_.cacheHits = file_->GetCacheHits();
  stream_.reset();
  file_.close();
}
