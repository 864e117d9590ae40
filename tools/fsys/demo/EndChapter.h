#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// EndChapter: the shutdown, in its order: the engine, then the registry.
class EndChapter final : public DemoChapter {
public:
  EndChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
