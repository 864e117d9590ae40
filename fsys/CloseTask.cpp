#include "fsys/CloseTask.h"

#include <utility>

#include "fsys/Fsys.h"
#include "fsys/ResultCodes.h"
#include "platform/Log.h"

CloseTask::~CloseTask() {
  if (file_) engine_.giveBack(file_);
}

void CloseTask::run() {
  FsysFile* file = std::exchange(file_, nullptr);
  uint32_t result = engine_.closeClaimed(file);
  if (result != eResultOk)
    Log("A file could not be closed: its last sector failed with 0x%x\n", result);
}
