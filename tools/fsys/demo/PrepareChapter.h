#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// PrepareChapter: two folders become media drives, and get their media folders.
class PrepareChapter final : public DemoChapter {
public:
  PrepareChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
