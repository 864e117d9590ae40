#include "tests/soak/MachineWatch.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>

#include "tests/support/AlignedBuffer.h"

namespace {

constexpr double kStep_ms = 20;
constexpr double kGap_ms = 200;        // between two steps: the processors were somebody else's
constexpr double kProbeStep_ms = 250;  // between two looks at the disk
constexpr double kSlow_ms = 300;       // one sector took that long: the disk was somebody else's
constexpr size_t kSector = 4096;
constexpr uint64_t kMostSectors = 256;  // then the file begins anew

}  // namespace

MachineWatch::MachineWatch(SoakClock& clock, const std::string& folder)
    : clock_(clock), path_(folder + "/machine-watch") {
  threads_[0] = std::jthread([this] { watchProcessor(); });
  threads_[1] = std::jthread([this] { watchDisk(); });
}

MachineWatch::~MachineWatch() {
  for (std::jthread& thread : threads_) thread.join();
  unlink(path_.c_str());
}

void MachineWatch::watchProcessor() {
  double last_ms = clock_.now_ms();
  while (clock_.waitFor(kStep_ms)) {
    const double now_ms = clock_.now_ms();
    if (now_ms - last_ms > kGap_ms) {
      std::lock_guard lock(lock_);
      processor_.add(last_ms, now_ms);
    }
    last_ms = now_ms;
  }
}

void MachineWatch::watchDisk() {
  const int file = open(path_.c_str(), O_RDWR | O_CREAT | O_DIRECT | O_CLOEXEC, 0600);
  for (uint64_t turn = 0; file >= 0 && clock_.waitFor(kProbeStep_ms); ++turn) probe(file, turn);
  if (file >= 0) close(file);
}

// What fails counts by the time that it took; the probe judges no bytes.
void MachineWatch::probe(int file, uint64_t turn) {
  AlignedBuffer sector(kSector);
  const double begin_ms = clock_.now_ms();
  {
    std::lock_guard lock(lock_);
    probed_ms_ = begin_ms;
  }
  const auto at = static_cast<off_t>(turn % kMostSectors * kSector);
  if (at == 0 && ftruncate(file, 0) != 0) return;
  const bool isWritten = pwrite(file, sector.data(), kSector, at) > 0;
  if (isWritten) (void)!pread(file, sector.data(), kSector, at);
  const double end_ms = clock_.now_ms();
  std::lock_guard lock(lock_);
  probed_ms_ = -1;
  if (end_ms - begin_ms > kSlow_ms) disk_.add(begin_ms, end_ms);
}

double MachineWatch::stalled_ms(double from_ms, double to_ms) const {
  std::lock_guard lock(lock_);
  double disk_ms = disk_.covered_ms(from_ms, to_ms);
  const bool isSlow = probed_ms_ >= 0 && to_ms - probed_ms_ > kSlow_ms;
  if (isSlow) disk_ms += to_ms - std::max(probed_ms_, from_ms);
  return std::max(processor_.covered_ms(from_ms, to_ms), disk_ms);
}

double MachineWatch::longest_ms() const {
  std::lock_guard lock(lock_);
  return std::max(processor_.longest_ms(), disk_.longest_ms());
}
