#include "tools/fsys/demo/DemoShow.h"

#include <algorithm>
#include <utility>

#include "platform/Clocks.h"
#include "tools/fsys/Interrupt.h"

DemoShow::DemoShow(std::string what, std::string shot, uint64_t pictures)
    : what_(std::move(what)), shot_(std::move(shot)), pictures_(pictures) {}

void DemoShow::prepare() {
  for (const auto& channel : channels_) channel->prepare();
}

void DemoShow::takeAll(const DemoClock& clock) {
  for (uint64_t turn = 0; turn < pictures_; ++turn) {
    double turn_ms = clock.turnOf_ms(turn);
    Interrupt::wait(-1, std::max(turn_ms - Qv::now(), 0.0));
    bool isInTime = true;
    for (const auto& channel : channels_) isInTime &= channel->take(turn, turn_ms);
    ++figures_.pictures;
    if (!isInTime) ++figures_.late;
  }
  for (const auto& channel : channels_) {
    channel->finish();
    figures_.add(channel->figures());
  }
}

void DemoShow::run(const DemoClock& clock) noexcept {
  try {
    takeAll(clock);
  } catch (...) {
    failure_ = std::current_exception();
  }
}

void DemoShow::rethrow() const {
  if (failure_) std::rethrow_exception(failure_);
}
