#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// BringChapter: the older shots come to the drives, in turn to one and to the other.
class BringChapter final : public DemoChapter {
public:
  BringChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
