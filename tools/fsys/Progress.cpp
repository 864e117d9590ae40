#include "tools/fsys/Progress.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <utility>

#include "platform/Clocks.h"
#include "tools/fsys/Text.h"

namespace {

constexpr double kRedraw_ms = 100;
constexpr uint64_t kCells = 24;
constexpr size_t kFallbackColumns = 80;

size_t columns() {
  winsize size = {};
  if (ioctl(STDERR_FILENO, TIOCGWINSZ, &size) != 0 || size.ws_col == 0) return kFallbackColumns;
  return size.ws_col;
}

}  // namespace

Progress::Progress(std::string label, uint64_t total, bool wanted)
    : label_(std::move(label)),
      total_(total),
      shown_(wanted && isatty(STDERR_FILENO) == 1),
      begin_ms_(Qv::now()),
      lastDraw_ms_(begin_ms_) {}

Progress::~Progress() {
  if (drawn_) std::fputs("\r\033[K", stderr);
}

void Progress::add(uint64_t bytes) {
  done_ += bytes;
  if (!shown_) return;
  double now_ms = Qv::now();
  if (now_ms - lastDraw_ms_ < kRedraw_ms) return;
  lastDraw_ms_ = now_ms;
  draw(now_ms);
}

void Progress::draw(double now_ms) {
  std::string line = label_ + "  ";
  if (total_ > 0) {
    uint64_t cells = std::min(done_ * kCells / total_, kCells);
    line += "[" + std::string(cells, '#') + std::string(kCells - cells, '.') + "] ";
    line += text("%3.0f%%  ", 100.0 * static_cast<double>(done_) / static_cast<double>(total_));
  }
  line += sizeText(done_);
  line += text("  %.0f MB/s", megabytesPerSecond(done_, now_ms - begin_ms_));
  // A line that wraps could not be drawn over.
  if (line.size() >= columns()) line.resize(columns() - 1);
  std::fprintf(stderr, "\r\033[K%s", line.c_str());
  std::fflush(stderr);
  drawn_ = true;
}
