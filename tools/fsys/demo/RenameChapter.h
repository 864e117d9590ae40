#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// RenameChapter: a location gets another name, which is on its disk then.
class RenameChapter final : public DemoChapter {
public:
  RenameChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
