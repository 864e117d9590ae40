#include "tests/fault/FaultState.h"

void FaultState::note(void* request, const Ending& ending) {
  FaultPause own;
  std::lock_guard lock(lock_);
  endings_.erase(request);
  if (!ending.verdict.goesWell()) endings_[request] = ending;
}

bool FaultState::take(void* request, Ending& ending) {
  FaultPause own;
  std::lock_guard lock(lock_);
  auto place = endings_.find(request);
  if (place == endings_.end()) return false;
  ending = std::move(place->second);
  endings_.erase(place);
  return true;
}
