#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// ScanChapter: the drives are scanned; what is found is what the catalogue was told.
class ScanChapter final : public DemoChapter {
public:
  ScanChapter();
  void run(DemoDay& day, DemoStep& step) override;
};
