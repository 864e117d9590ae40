#pragma once

#include "tools/fsys/demo/DemoChapter.h"

// UnplugChapter: a drive goes away, its media is offline, and online again when it is back.
class UnplugChapter final : public DemoChapter {
public:
  UnplugChapter();
  void run(DemoDay& day, DemoStep& step) override;

private:
  static void checkAway(DemoDay& day, DemoStep& step);
  static void checkBack(DemoDay& day, DemoStep& step);

  uint64_t offline_ = 0;
};
