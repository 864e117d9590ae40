#include "tools/fsys/demo/DemoRecorder.h"

#include <algorithm>

#include "platform/Clocks.h"
#include "tools/fsys/Interrupt.h"
#include "tools/fsys/ToolError.h"
#include "tools/fsys/WriteStream.h"

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

void DemoRecorder::record(const DemoClock& clock) {
  EngineFile file(name_, EngineFile::eWrite, kCoalesce_bytes);
  WriteStream stream(file, kWritesInFlight);
  for (uint64_t done = 0; done < size_; ++figures_.pictures) {
    double turn_ms = clock.turnOf_ms(figures_.pictures);
    Interrupt::wait(-1, std::max(turn_ms - Qv::now(), 0.0));
    double begin_ms = threadCpu_ms();
    uint32_t count = static_cast<uint32_t>(std::min<uint64_t>(picture_bytes_, size_ - done));
    Qv::Ptr<iMemHolder> picture = WriteStream::newBuffer(count);
    if (source_.readAt(done, picture->getBuffer(), count) != count)
      throw ToolError(ExitCode::eIo, "recording", name_, "the source became shorter");
    figures_.checking_ms += threadCpu_ms() - begin_ms;
    stream.write(picture, count);
    if (Qv::now() > turn_ms + DemoClock::kPicture_ms) ++figures_.late;
    done += count;
  }
  stream.settle();
  file.close();
  figures_.bytes = stream.bytes();
  figures_.latency = stream.latency();
}

void DemoRecorder::run(const DemoClock& clock) noexcept {
  try {
    record(clock);
  } catch (...) {
    failure_ = std::current_exception();
  }
}

void DemoRecorder::rethrow() const {
  if (failure_) std::rethrow_exception(failure_);
}
