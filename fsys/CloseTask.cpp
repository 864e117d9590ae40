#include "fsys/CloseTask.h"

#include <utility>

#include "fsys/Fsys.h"

CloseTask::~CloseTask() {
  if (file_) engine_.giveBackUnclosed(file_);
}

void CloseTask::run() { engine_.closeForCallback(std::exchange(file_, nullptr)); }
