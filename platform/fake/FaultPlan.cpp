#include "platform/fake/FaultPlan.h"

#include <algorithm>

void FaultPlan::arm(eCall call, unsigned nth, eSpan span, const Verdict& verdict) {
  Kind& kind = kinds_[call];
  kind.faults.push_back({kind.calls + std::max(nth, 1u), span, false, verdict});
}

void FaultPlan::fail(eCall call, uint32_t error, unsigned nth, eSpan span) {
  arm(call, nth, span, {error, false, 0});
}

void FaultPlan::shorten(eCall call, uint32_t bytes, unsigned nth, eSpan span) {
  arm(call, nth, span, {0, true, bytes});
}

void FaultPlan::clear() {
  for (Kind& kind : kinds_) kind.faults.clear();
}

bool FaultPlan::waiting(eCall call) const {
  const std::vector<Fault>& faults = kinds_[call].faults;
  return std::any_of(faults.begin(), faults.end(), [](const Fault& f) { return !f.struck; });
}

FaultPlan::Verdict FaultPlan::next(eCall call) {
  Kind& kind = kinds_[call];
  ++kind.calls;
  for (Fault& fault : kind.faults) {
    bool strikes = fault.span == eOnce ? kind.calls == fault.atCall : kind.calls >= fault.atCall;
    if (!strikes) continue;
    fault.struck = true;
    ++kind.fired;
    return fault.verdict;
  }
  return {};
}
