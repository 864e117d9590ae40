#include "tests/fault/FaultPoints.h"

void FaultPoints::arm(const Fault& fault) {
  std::lock_guard lock(lock_);
  fault_ = fault;
  calls_ = {};
  total_ = 0;
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

FaultPoints::Verdict FaultPoints::next(FaultCall call) {
  if (FaultPause::active()) return {};
  std::lock_guard lock(lock_);
  ++calls_[static_cast<size_t>(call)];
  if (call != FaultCall::eAllocate) ++total_;
  if (!strikesLocked(call)) return {};
  ++fired_;
  lastFired_ = call;
  return verdictLocked(call);
}

bool FaultPoints::strikesLocked(FaultCall call) const {
  if (!fault_) return false;
  if (fault_->call ? *fault_->call != call : call == FaultCall::eAllocate) return false;
  unsigned number = fault_->call ? calls_[static_cast<size_t>(call)] : total_;
  return fault_->fromThenOn ? number >= fault_->nth : number == fault_->nth;
}

FaultPoints::Verdict FaultPoints::verdictLocked(FaultCall call) const {
  Verdict verdict;
  if (isTransfer(call)) verdict.cutShort = fault_->cutShort;
  verdict.error = fault_->error;
  bool isRead = call == FaultCall::eRead || call == FaultCall::eFinishRead;
  bool endsWell = verdict.cutShort && isRead;
  std::span<const uint32_t> errors = faultErrors(call);
  if (verdict.error == 0 && !endsWell) verdict.error = errors[fault_->pick % errors.size()];
  return verdict;
}
