#include "tests/fault/FaultSweep.h"

#include <algorithm>
#include <chrono>

namespace {

// Threads take turns as they like, and need a little more in one play than in another. That
// something is needed in all the plays that are measured, and in none of those that must strike,
// happens to three points in a million at worst: where 6 of 22 plays need it. A machine that gets
// more to do meanwhile, or less, is another one: then it is measured again.
constexpr unsigned kMeasured = 6;
constexpr unsigned kTries = 16;
constexpr unsigned kHeapLooks = 3;
constexpr unsigned kMostPoints = 5000;  // of one kind
constexpr std::chrono::seconds kLongestPlay(10);
constexpr Fault kNever{.nth = 0};
constexpr uint32_t kInterestingLengths[] = {0, 1, 512, 4096};

const char* nameOf(std::optional<FaultCall> call) { return call ? faultCallName(*call) : "any"; }

}  // namespace

FaultSweep::FaultSweep(FaultLayer& layer, FaultPlay& play, eDepth depth, bool countsHeap)
    : layer_(layer), played_(play), depth_(depth), countsHeap_(countsHeap) {
  FaultPause own;
  warmUp();
  measure();
}

// What is made once and kept for good is no leftover afterwards.
void FaultSweep::warmUp() {
  for (unsigned i = 0; i < 2; ++i) play(kNever, FaultPlay::eClosed);
  findings_.clear();
}

void FaultSweep::measure() {
  for (unsigned i = 0; i < kMeasured; ++i) {
    play(kNever, FaultPlay::eClosed);
    auto note = [&](std::optional<FaultCall> call) {
      unsigned calls = played_.surely(call, last_.callsOf(call));
      made_[call] = i == 0 ? calls : std::min(made_[call], calls);
    };
    for (FaultCall call : everyFaultCall()) note(call);
    note(std::nullopt);
  }
}

void FaultSweep::sweepCalls() {
  FaultPause own;
  for (FaultCall call : everyFaultCall())
    if (call != FaultCall::eAllocate && made_[call] > 0) sweep(call);
  sweepAnyCall();
}

void FaultSweep::sweepAnyCall() {
  FaultPause own;
  sweep(std::nullopt);
}

void FaultSweep::sweepAllocations() {
  FaultPause own;
  sweep(FaultCall::eAllocate);
}

void FaultSweep::sweep(std::optional<FaultCall> call) {
  for (unsigned nth = 1; nth < kMostPoints; nth += step_)
    if (!sweepPoint({.call = call, .nth = nth}, nth <= made_[call])) return;
}

// False when the fault did not strike: the scenario makes no more calls.
bool FaultSweep::sweepPoint(const Fault& point, bool mustStrike) {
  size_t errors = point.call ? faultErrors(*point.call).size() : 1;
  size_t lengths = point.call && isTransfer(*point.call) ? std::size(kInterestingLengths) + 1 : 1;
  size_t variants = errors * lengths * 2;
  bool struck = false;
  for (size_t i = 0; i < (depth_ == eAll ? variants : 1); ++i) {
    size_t variant = depth_ == eAll ? i : turn_++ % variants;
    Fault fault = point;
    fault.fromThenOn = variant % 2 != 0;
    size_t length = variant / 2 % lengths;
    if (length > 0) fault.cutShort = kInterestingLengths[length - 1];
    fault.pick = static_cast<unsigned>(variant / 2 / lengths);
    bool strikes = play(fault, FaultPlay::eClosed);
    for (unsigned tries = 1; mustStrike && !strikes && tries < kTries; ++tries)
      strikes = play(fault, FaultPlay::eClosed);
    if (mustStrike && !strikes && stillMakes(point.call, point.nth))
      found(fault, FaultPlay::eClosed, "it never struck");
    struck = struck || strikes;
    if (strikes && played_.goesOn()) play(fault, FaultPlay::eOperation);
  }
  return struck;
}

bool FaultSweep::stillMakes(std::optional<FaultCall> call, unsigned calls) {
  measure();
  return made_[call] >= calls;
}

// Whether the fault struck.
bool FaultSweep::play(const Fault& fault, FaultPlay::eUntil until) {
  for (unsigned i = 0; i < kHeapLooks; ++i) {
    auto begin = std::chrono::steady_clock::now();
    last_ = {};
    Leftovers before(layer_);
    last_ = played_.play(layer_, fault, until);
    std::string wrong = last_.wrong;
    long pieces = countsHeap_ ? before.piecesSince() - played_.keeps() : 0;
    wrong += before.since();
    if (std::chrono::steady_clock::now() - begin > kLongestPlay) wrong += "it took too long; ";
    // The heap alone may be the machine's doing: what is lost is lost each time. And words take
    // memory.
    if (wrong.empty() && pieces > 0 && i + 1 < kHeapLooks) continue;
    if (wrong.empty() && pieces > 0) wrong = std::to_string(pieces) + " more pieces of the heap; ";
    if (!wrong.empty()) found(fault, until, wrong);
    break;
  }
  if (last_.struck) ++points_[fault.call];
  return last_.struck;
}

void FaultSweep::found(const Fault& fault, FaultPlay::eUntil until, const std::string& what) {
  findings_ += played_.name() + ", " + nameOf(fault.call) + " " + std::to_string(fault.nth) +
               (fault.fromThenOn ? " and from then on" : "") + ", pick " +
               std::to_string(fault.pick);
  if (fault.cutShort) findings_ += ", cut to " + std::to_string(*fault.cutShort);
  findings_ += until == FaultPlay::eOperation ? ", until the operation: " : ": ";
  findings_ += what + "\n";
}

std::string FaultSweep::points() const {
  unsigned all = 0;
  std::string kinds;
  for (const auto& [call, points] : points_) {
    all += points;
    kinds += std::string(" ") + nameOf(call) + " " + std::to_string(points);
  }
  return played_.name() + ": " + std::to_string(all) + " points:" + kinds;
}
