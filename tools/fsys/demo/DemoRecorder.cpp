#include "tools/fsys/demo/DemoRecorder.h"

#include <algorithm>

#include "platform/Clocks.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/demo/DemoClock.h"

namespace {

constexpr unsigned kWritesInFlight = 4;
constexpr uint64_t kPictureAlignment_bytes = 4096;  // so that pictures go past the page cache
constexpr uint32_t kCoalesce_bytes = 1 << 20;

uint32_t pictureBytes(uint64_t size, uint64_t pictures) {
  uint64_t bytes = std::max<uint64_t>((size + pictures - 1) / pictures, 1);
  uint64_t sectors = (bytes + kPictureAlignment_bytes - 1) / kPictureAlignment_bytes;
  return static_cast<uint32_t>(sectors * kPictureAlignment_bytes);
}

}  // namespace

DemoRecorder::DemoRecorder(const std::string& file, const std::string& source, uint64_t pictures)
    : name_(file),
      source_(PlainFile::openForReading(source)),
      size_(factsOf(source).size),
      picture_bytes_(pictureBytes(size_, pictures)) {}

void DemoRecorder::prepare() {
  if (factsOf(name_).exists)
    throw ToolError(ExitCode::eExists, "recording", name_, "it exists already");
  file_ = std::make_unique<EngineFile>(name_, EngineFile::eWrite, kCoalesce_bytes);
  stream_ = std::make_unique<WriteStream>(*file_, kWritesInFlight);
}

bool DemoRecorder::take(uint64_t, double turn_ms) {
  uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(picture_bytes_, size_ - done_));
  if (count == 0) return true;
  double begin_ms = threadCpu_ms();
  Qv::Ptr<iMemHolder> picture = WriteStream::newBuffer(count);
  if (source_.readAt(done_, picture->getBuffer(), count) != count)
    throw ToolError(ExitCode::eIo, "recording", name_, "the source became shorter");
  figures_.checking_ms += threadCpu_ms() - begin_ms;
  stream_->write(picture, count);
  done_ += count;
  return Qv::now() <= turn_ms + DemoClock::kPicture_ms;
}

void DemoRecorder::finish() {
  stream_->settle();
  file_->close();
  figures_.bytes = stream_->bytes();
  figures_.latency = stream_->latency();
}
