#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// StartChapter: the engine starts, then the registry of drives, as in an editor.
// Story      Nothing is discovered: the drives of this machine, and the media on them, are left
//            alone.
class StartChapter final : public DemoChapter {
public:
  StartChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
