#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// DeleteChapter: a shot goes, with its proxies and what lies beside its files, and nothing else.
class DeleteChapter final : public DemoChapter {
public:
  DeleteChapter();
  void run(DemoDay& day, DemoStep& step) override;

private:
  static void remove(const DemoFile& file, DemoStep& step);
};
