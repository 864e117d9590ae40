#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// AskChapter: the catalogue is asked for every cookie at every level and height, and what it
// answers is opened and read whole through the engine.
class AskChapter final : public DemoChapter {
public:
  AskChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
