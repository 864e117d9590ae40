#include "tests/fault/FaultState.h"

void FaultState::note(void* request, const Ending& ending) {
  FaultPause own;
  std::lock_guard lock(lock_);
  endings_.erase(request);
  if (!ending.verdict.goesWell()) endings_[request] = ending;
}

bool FaultState::runLater(const Qv::Ptr<iTask>& task) {
  FaultPause own;
  std::lock_guard lock(lock_);
  if (!held_) held_ = nativeOS()->getThreads()->createTaskQueue("fault hold", 1);
  return held_ && held_->post(task);
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
