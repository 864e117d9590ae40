#include "platform/fake/FakeWorld.h"

#include <algorithm>
#include <stdexcept>

#include "platform/fake/FakeAsyncIo.h"

bool FakeWorld::runOne() {
  for (unsigned tried = 0; tried < 3; ++tried) {
    switch (turn_++ % 3) {
      case 0:
        if (threads_.runOneDue()) return true;
        break;
      case 1:
        if (threads_.runOneTask()) return true;
        break;
      default:
        if (asyncIo_.finishNext()) return true;
        break;
    }
  }
  return false;
}

bool FakeWorld::waitUntil(const std::function<bool()>& done, double timeout_ms) {
  const double start = clock_.now_ms();
  const double end = start + timeout_ms;
  double moment = start;
  unsigned things = 0;
  while (!done()) {
    if (clock_.now_ms() > moment) {
      moment = clock_.now_ms();
      things = 0;
    }
    // A wait that was overtaken by the clock is over; one that just ends lets its moment happen.
    if (moment > end) return false;
    if (++things > kMostThingsAtOnce)
      throw std::logic_error("the fake world does not come to rest while the clock stands still");
    if (runOne()) continue;
    if (clock_.now_ms() >= end) return done();
    double next = std::min(threads_.nextDue_ms(), end);
    if (next == kForever_ms)
      throw std::logic_error("an endless wait in the fake, and nothing can ever happen");
    if (timeout_ms == kForever_ms && next - start > kLongestWait_ms)
      throw std::logic_error("an endless wait in the fake lasted an hour of its clock");
    clock_.stepTo(next);
  }
  return true;
}

void FakeWorld::advance(double ms) {
  waitUntil([] { return false; }, std::max(ms, 0.0));
}
