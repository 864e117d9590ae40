#include "tests/fault/FaultPoints.h"

void FaultPoints::arm(const Fault& fault) {
  std::lock_guard lock(lock_);
  fault_ = fault;
  calls_ = {};
  total_ = 0;
  meant_ = 0;
  fired_ = 0;
  lastFired_ = FaultCall::eKinds;
}

void FaultPoints::disarm() {
  std::lock_guard lock(lock_);
  fault_.reset();
}

unsigned FaultPoints::calls(FaultCall call) const {
  std::lock_guard lock(lock_);
  return calls_[static_cast<size_t>(call)];
}

unsigned FaultPoints::calls() const {
  std::lock_guard lock(lock_);
  return total_;
}

unsigned FaultPoints::fired() const {
  std::lock_guard lock(lock_);
  return fired_;
}

FaultCall FaultPoints::lastFired() const {
  std::lock_guard lock(lock_);
  return lastFired_;
}

FaultPoints::Verdict FaultPoints::next(FaultCall call, const FaultPlace& place) {
  if (FaultPause::active()) return {};
  std::lock_guard lock(lock_);
  ++calls_[static_cast<size_t>(call)];
  if (call != FaultCall::eAllocate) ++total_;
  if (!strikesLocked(call, place)) return {};
  ++fired_;
  lastFired_ = call;
  if (fault_->aim) fault_->aim->struck(place);
  return verdictLocked(call);
}

bool FaultPoints::strikesLocked(FaultCall call, const FaultPlace& place) {
  if (!fault_) return false;
  if (fault_->call ? *fault_->call != call : call == FaultCall::eAllocate) return false;
  unsigned number = fault_->call ? calls_[static_cast<size_t>(call)] : total_;
  if (fault_->aim) {
    if (!fault_->aim->isMeant(place)) return false;
    number = ++meant_;
  }
  return fault_->fromThenOn ? number >= fault_->nth : number == fault_->nth;
}

FaultPoints::Verdict FaultPoints::verdictLocked(FaultCall call) const {
  Verdict verdict;
  if (isTransfer(call)) verdict.cutShort = fault_->cutShort;
  verdict.error = fault_->error;
  bool isRead = call == FaultCall::eRead || call == FaultCall::eFinishRead;
  if (call == FaultCall::eFinishRead || call == FaultCall::eFinishWrite)
    verdict.hold_ms = fault_->hold_ms;
  bool endsWell = (verdict.cutShort && isRead) || (verdict.hold_ms > 0 && !verdict.cutShort);
  std::span<const uint32_t> errors = faultErrors(call);
  if (verdict.error == 0 && !endsWell) verdict.error = errors[fault_->pick % errors.size()];
  return verdict;
}
