#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// TaskChapter: the drive of the task Record is set, and has room for what will be recorded.
class TaskChapter final : public DemoChapter {
public:
  TaskChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
